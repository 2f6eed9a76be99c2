#pragma once

// The connections that the kernel tracks: those of some addresses are deleted, so that what goes on
// is decided upon anew.
//
// Threads: one at a time.

#include <set>
#include <string>
#include <vector>

#include "netlink/netlink_socket.h"

namespace companion {

class Connections {
public:
    Connections() : table_(NETLINK_NETFILTER), deletions_(NETLINK_NETFILTER) {}

    // Deletes all that come from or go to one of `addresses` (4 or 16 bytes each, network order),
    // and gives their number. `error` is 0, or what errno would say.
    std::size_t deleteOf(std::set<std::string> addresses, int& error);

    // The same in parts, for a loop with other work. After begin() has given 0, readSome() is to be
    // called whenever fd() is readable, until it gives true.
    [[nodiscard]] int begin(std::set<std::string> addresses);
    [[nodiscard]] bool readSome();
    [[nodiscard]] int fd() const { return table_.fd(); }

private:
    void examine(const nlmsghdr& message);
    std::size_t deleteFound(int& error);

    NetlinkSocket table_;
    NetlinkSocket deletions_;
    std::set<std::string> sought_;
    std::vector<std::string> found_;  // messages that delete connections
};

}  // namespace companion
