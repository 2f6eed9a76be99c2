#pragma once

// The whole daemon beside a simulated access point, its stations authenticated by their MAC.

#include <cstddef>
#include <cstdint>
#include <string>

namespace vesta::bench {

struct RadiusBurst {
    double seconds;
    std::size_t undecided;  // after a minute
};

// `stations` come at once; from the first notification until the redirector has let in the last.
RadiusBurst burstAtDaemon(std::size_t stations, std::uint16_t port, const std::string& secret,
                          const std::string& runtimeDirectory);

}  // namespace vesta::bench
