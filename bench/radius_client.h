#pragma once

// The RADIUS server's own command-line client, asking what a RadiusWorker asks, and who the
// stations are.

#include <cstddef>
#include <cstdint>
#include <string>

namespace vesta::bench {

inline constexpr const char* kRadiusPassword = "PLACEHOLDR";

// The users file of a server that knows every station.
inline constexpr const char* kRadiusUsers =
    "DEFAULT Cleartext-Password := \"PLACEHOLDR\"\n    Ostrel-Known-Station = 1\n";

// User-Name of a station: its MAC as XX-XX-XX-XX-XX-XX.
std::string radiusNameOf(std::size_t station);

class RadiusClient {
public:
    // Writes its requests to a file in `directory`.
    RadiusClient(const std::string& directory, std::uint16_t port, const std::string& secret);

    // Seconds for `times` authentications of each of this many stations, all stations at once,
    // without the program's start. Throws std::runtime_error when one was not accepted.
    [[nodiscard]] double run(std::size_t times, std::size_t stations) const;

private:
    [[nodiscard]] double timeOf(std::size_t times, std::size_t stations) const;

    std::string file_;
    std::string rest_;
};

}  // namespace vesta::bench
