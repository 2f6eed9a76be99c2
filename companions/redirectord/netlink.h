#pragma once

// A netlink socket on which one request follows the other.
//
// Threads: one. A socket works in the network namespace in which it was made.

#include <libmnl/libmnl.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

namespace redirectord {

// A message under construction; `space` is its memory. mnl_nlmsg_put_header() and the functions for
// attributes fill it.
using NetlinkBuffer = std::array<char, 4096>;

class Netlink {
public:
    using Each = std::function<void(const nlmsghdr*)>;

    // `bus` is NETLINK_ROUTE, NETLINK_NETFILTER ...; `groups` is the mask of multicast groups.
    // Throws std::system_error when the system refuses.
    explicit Netlink(int bus, unsigned int groups = 0);

    [[nodiscard]] int fd() const;
    // Sends what stands in `bytes`. 0, or the error number.
    int send(std::string_view bytes);
    // Sends one message, a dump too, and waits for its end; calls `each` for every message of the
    // answer. The kernel answers at once. 0, or the error number.
    int request(nlmsghdr* message, const Each& each = {});
    // Hands on what can be read now, without waiting, in at most `reads` turns. Gives 0, or the
    // error number of the last turn (EAGAIN, ENOBUFS); an error message goes to `each` like others.
    int drain(int reads, const Each& each);

private:
    struct Close {
        void operator()(mnl_socket* socket) const { mnl_socket_close(socket); }
    };

    std::unique_ptr<mnl_socket, Close> socket_;
    unsigned int sequence_ = 0;
};

// One attribute: its type without flags, and its bytes.
struct NetlinkAttribute {
    std::uint16_t type = 0;
    std::string_view bytes;

    // The number or address as it stands in memory; 0 when the attribute has another size.
    template <typename Value>
    [[nodiscard]] Value as() const {
        Value value{};
        if (bytes.size() == sizeof value) {
            std::memcpy(&value, bytes.data(), sizeof value);
        }
        return value;
    }
};

// Takes the first of the attributes in `rest`; nothing at the end, or when its length does not
// hold.
[[nodiscard]] std::optional<NetlinkAttribute> takeAttribute(std::string_view& rest);

// Calls `each` for every attribute.
template <typename Each>
void eachAttribute(std::string_view bytes, Each each) {
    while (const auto attribute = takeAttribute(bytes)) {
        each(*attribute);
    }
}

// What follows a message's netlink header and its own of `headerSize` bytes: its attributes.
[[nodiscard]] std::string_view attributesOf(const nlmsghdr* message, std::size_t headerSize);

}  // namespace redirectord
