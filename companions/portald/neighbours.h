#pragma once

// Which IPv4 addresses a station has that comes over IPv6: the kernel's neighbour table knows its
// hardware address, and the IPv4 neighbours with the same one on the same device.
//
// Threads: the event loop's alone.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace portald {

struct Neighbour {
    std::string address;  // as inet_ntop() writes it
    std::string mac;      // "aa:bb:cc:dd:ee:ff"
    int device = 0;       // index of the interface
    bool ipv6 = false;
    bool confirmed = false;  // seen a short while ago
};

// Where neighbours come from; a test stands in for it.
class NeighbourSource {
public:
    virtual ~NeighbourSource() = default;
    // Those of both families; none when the kernel doesn't tell.
    [[nodiscard]] virtual std::vector<Neighbour> read() = 0;
};

// The kernel's, by RTM_GETNEIGH.
class KernelNeighbours final : public NeighbourSource {
public:
    [[nodiscard]] std::vector<Neighbour> read() override;
};

class Neighbours {
public:
    struct Owner {
        std::string mac;
        std::string ipv4;
    };

    explicit Neighbours(NeighbourSource& source) : source_(source) {}

    // The IPv4 addresses of whoever has the IPv6 address `address`, the likeliest first. Reads the
    // table at most ten times a second.
    [[nodiscard]] std::vector<Owner> ownersOf(const std::string& address);

private:
    void refresh();

    NeighbourSource& source_;
    std::int64_t readAt_ = -1;  // monotonic milliseconds; -1: never
    std::map<std::string, std::vector<Owner>> owners_;
};

}  // namespace portald
