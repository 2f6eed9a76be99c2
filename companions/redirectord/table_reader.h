#pragma once

// Reads what stands in `table netdev vesta`, by raw netlink.
//
// Threads: one.

#include <cstdint>
#include <functional>
#include <string_view>

#include "redirectord/netlink.h"

namespace redirectord {

class TableReader {
public:
    // Gets an element's key as the kernel holds it, and its mark; 0 where the set has no marks.
    using Each = std::function<void(std::string_view key, std::uint32_t mark)>;
    // Gets an element's key, and the chain that its verdict jumps or goes to.
    using EachJump = std::function<void(std::string_view key, std::string_view chain)>;

    TableReader() : netlink_(NETLINK_NETFILTER) {}

    // Each calls `each` for every element of a set or map. 0, or the error number.
    int list(const char* set, const Each& each);
    int listJumps(const char* map, const EachJump& each);
    // Whether the table is still there.
    [[nodiscard]] bool tableExists();

private:
    // Calls `each` with the key and the data (attributes) of every element.
    template <typename EachData>
    int dump(const char* set, EachData each);

    Netlink netlink_;
};

}  // namespace redirectord
