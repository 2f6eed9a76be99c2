#pragma once

// The connections that the kernel tracks.
//
// Threads: one at a time.

#include <array>
#include <cstdint>
#include <set>
#include <string>

#include "netlink/netlink_socket.h"

namespace companion {

class Connections {
public:
    Connections() : socket_(NETLINK_NETFILTER) {}

    // Deletes all that come from or go to one of `addresses` (4 or 16 bytes each, network order),
    // and gives their number. `error` is 0, or what errno would say.
    std::size_t deleteOf(const std::set<std::string>& addresses, int& error);

private:
    NetlinkSocket socket_;
};

}  // namespace companion
