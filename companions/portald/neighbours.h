#pragma once

// Which IPv4 addresses a station has that comes over IPv6: the kernel's neighbour table knows its
// hardware address, and the IPv4 neighbours with the same one on the same device.
//
// Threads: the event loop's alone.

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "netlink/neighbours.h"

namespace portald {

class Neighbours {
public:
    // Reads the kernel's table; a test stands in for it.
    using Source = std::function<std::vector<companion::Neighbour>()>;
    struct Owner {
        std::string mac;   // "aa:bb:cc:dd:ee:ff"
        std::string ipv4;  // "192.0.2.1"
    };

    explicit Neighbours(Source source) : source_(std::move(source)) {}

    // The IPv4 addresses of whoever has the IPv6 address `address`, the one that proved to be there
    // last first; none when two stations have it. `device`: its interface's index, 0 for any. Reads
    // the table at most ten times a second.
    [[nodiscard]] std::vector<Owner> ownersOf(const std::string& address, unsigned int device);

private:
    // A station: the interface's index, and the MAC.
    using Key = std::pair<unsigned int, companion::Mac>;

    [[nodiscard]] std::vector<Owner> lookUp(const std::string& address, unsigned int device) const;
    void refresh();

    const Source source_;
    std::int64_t readAt_ = -1;  // monotonic milliseconds; -1: never
    std::map<std::string, std::set<Key>> ipv6_;
    std::map<Key, std::vector<Owner>> ipv4_;
};

}  // namespace portald
