#pragma once

// An address and a port, and the sockets that the name forwarder listens on. Stateless; any thread.

#include <sys/socket.h>

#include <cstdint>
#include <string>

#include "ostrel/runtime.h"
#include "redirectord/ip_address.h"

namespace redirectord {

struct SocketAddress {
    sockaddr_storage storage{};
    socklen_t size = sizeof(sockaddr_storage);

    [[nodiscard]] sockaddr* get() { return reinterpret_cast<sockaddr*>(&storage); }
    [[nodiscard]] const sockaddr* get() const {
        return reinterpret_cast<const sockaddr*>(&storage);
    }
    [[nodiscard]] IpAddress ip() const;
    [[nodiscard]] std::string text() const;  // "192.0.2.1:53", "[2001:db8::1]:53"

    friend bool operator==(const SocketAddress& a, const SocketAddress& b);
};

// "192.0.2.1", "192.0.2.1:5353", "2001:db8::1", "fe80::1%eth0", "[2001:db8::1]:5353"; `port` where
// none is given. Throws std::invalid_argument, which names the text.
[[nodiscard]] SocketAddress parseSocketAddress(const std::string& text, const std::string& port);

// A non-blocking socket of `type` (SOCK_DGRAM, or SOCK_STREAM: listening) on every address of
// `family` (AF_INET, or AF_INET6 for IPv6 alone). Without a descriptor where the kernel has no such
// family; throws std::system_error, which names the port, when the port can't be had.
[[nodiscard]] ostrel::Fd openPort(sa_family_t family, int type, std::uint16_t port);

}  // namespace redirectord
