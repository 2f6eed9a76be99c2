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

    TableReader() : netlink_(NETLINK_NETFILTER) {}

    // Calls `each` for every element of a set or map. 0, or the error number.
    int list(const char* set, const Each& each);
    // Whether the table is still there.
    [[nodiscard]] bool tableExists();

private:
    Netlink netlink_;
};

}  // namespace redirectord
