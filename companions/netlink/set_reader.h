#pragma once

// What stands in the sets and maps of the tables "vesta" of the packet filter, by raw netlink.
//
// Threads: one at a time.

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

#include "netlink/netlink_socket.h"

namespace companion {

inline constexpr const char* kFirewallTable = "vesta";

enum class TableFamily { netdev, inet };
// As netlink numbers it.
[[nodiscard]] std::uint8_t familyNumber(TableFamily family);

struct Traffic {
    std::uint64_t bytes = 0;
    std::uint64_t packets = 0;
};

struct SetElement {
    std::string_view key;  // as the kernel holds it
    // What a map gives: a number (mark, class), or the chain to which it jumps or goes.
    std::uint32_t number = 0;
    std::string_view chain;
    std::optional<Traffic> counter;
};

using EachElement = std::function<void(const SetElement&)>;

// Hands on the elements in one message of an answer.
void readElements(const nlmsghdr& message, const EachElement& each);

// For what must be whole: a table seldom changes so often.
inline constexpr int kManyTries = 20;

class SetReader {
public:
    SetReader() : socket_(NETLINK_NETFILTER) {}

    // Reads again, `tries` times at most, when the tables changed meanwhile; an element may come
    // more than once then, the last time as it is.
    [[nodiscard]] AnswerEnd read(TableFamily family, const char* set, int tries,
                                 const EachElement& each);
    // Whether the table of the family netdev is there.
    [[nodiscard]] bool tableExists();

private:
    NetlinkSocket socket_;
};

}  // namespace companion
