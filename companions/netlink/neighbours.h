#pragma once

// The kernel's neighbour table and the forwarding tables of its bridges: who answers at which
// address, and behind which port.
//
// Threads: one at a time.

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <unordered_map>
#include <vector>

#include "netlink/netlink_socket.h"
#include "netlink/station_key.h"

namespace companion {

// An address whose MAC is known.
struct Neighbour {
    unsigned int device = 0;  // interface index
    std::uint8_t family = 0;
    std::array<std::uint8_t, 16> address{};  // an IPv4 address fills the first four bytes
    Mac mac{};
    std::uint16_t state = 0;          // NUD_...
    std::int64_t confirmedAgoMs = 0;  // since it has last proved to be there
};

// A MAC that a bridge has learned.
struct BridgeEntry {
    unsigned int port = 0;    // interface index
    unsigned int bridge = 0;  // interface index
    std::uint16_t vlan = 0;
    Mac mac{};
    std::int64_t heardAgoMs = 0;  // since the last frame from there
};

// One message of a dump; nothing when it is none, or says nothing about a station.
[[nodiscard]] std::optional<Neighbour> readNeighbour(const nlmsghdr& message);
[[nodiscard]] std::optional<BridgeEntry> readBridgeEntry(const nlmsghdr& message);

// Behind which port a bridge has last heard a MAC.
class BridgePorts {
public:
    void add(const BridgeEntry& entry);
    // The port of a neighbour of a bridge; of any other neighbour its own device.
    [[nodiscard]] unsigned int of(const Neighbour& neighbour) const;

private:
    std::map<unsigned int, std::unordered_map<Mac, BridgeEntry, MacHash>> bridges_;
};

class NeighbourTables {
public:
    NeighbourTables() : socket_(NETLINK_ROUTE) {}

    // All of them. Nothing but a warning is lost when the kernel gives none.
    [[nodiscard]] std::vector<Neighbour> neighbours();
    [[nodiscard]] std::vector<BridgeEntry> bridgeEntries();

    // Has the kernel ask the neighbour whether it is still there: three unicast requests within
    // three seconds. 0, or what errno would say.
    [[nodiscard]] int verify(const Neighbour& neighbour);
    [[nodiscard]] int forget(const Neighbour& neighbour);
    [[nodiscard]] int forget(const BridgeEntry& entry);

private:
    [[nodiscard]] int change(const Neighbour& neighbour, unsigned int type, unsigned int flags);

    NetlinkSocket socket_;
};

}  // namespace companion
