#include "portald/endpoint.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace portald {
namespace {

constexpr int kBacklog = 1024;

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

ostrel::Fd boundSocket(int family, const sockaddr* address, socklen_t size) {
    ostrel::Fd socket(::socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const int on = 1;
    const int off = 0;
    if (!socket.valid() ||
        setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
        (family == AF_INET6 &&
         setsockopt(socket.get(), IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off) != 0) ||
        bind(socket.get(), address, size) != 0) {
        socket.reset();
    }
    return socket;
}

// One of IPv4 in its own form also where it comes to an IPv6 socket.
std::string textOf(const sockaddr_storage& address) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (address.ss_family == AF_INET) {
        const auto& four = reinterpret_cast<const sockaddr_in&>(address);
        inet_ntop(AF_INET, &four.sin_addr, text.data(), text.size());
        return text.data();
    }
    const auto& six = reinterpret_cast<const sockaddr_in6&>(address);
    if (IN6_IS_ADDR_V4MAPPED(&six.sin6_addr)) {
        inet_ntop(AF_INET, &six.sin6_addr.s6_addr[12], text.data(), text.size());
    } else {
        inet_ntop(AF_INET6, &six.sin6_addr, text.data(), text.size());
    }
    return text.data();
}

Endpoint endOf(int socket, int (*ask)(int, sockaddr*, socklen_t*)) {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    if (ask(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        return {"", 0};
    }
    const bool ipv6 = address.ss_family == AF_INET6;
    return {textOf(address),
            ipv6 ? reinterpret_cast<const sockaddr_in6&>(address).sin6_scope_id : 0};
}

}  // namespace

ostrel::Fd listeningSocket(std::uint16_t port) {
    sockaddr_in6 both{};
    both.sin6_family = AF_INET6;
    both.sin6_port = htons(port);
    ostrel::Fd socket = boundSocket(AF_INET6, reinterpret_cast<sockaddr*>(&both), sizeof both);
    if (!socket.valid() && errno != EADDRINUSE) {
        sockaddr_in four{};
        four.sin_family = AF_INET;
        four.sin_port = htons(port);
        socket = boundSocket(AF_INET, reinterpret_cast<sockaddr*>(&four), sizeof four);
    }
    if (!socket.valid() || ::listen(socket.get(), kBacklog) != 0) {
        fail("port " + std::to_string(port) + " can't be listened on");
    }
    return socket;
}

std::uint16_t portOf(int socket) {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    if (getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        fail("getsockname");
    }
    return ntohs(address.ss_family == AF_INET
                     ? reinterpret_cast<const sockaddr_in&>(address).sin_port
                     : reinterpret_cast<const sockaddr_in6&>(address).sin6_port);
}

Endpoint peerOf(int socket) {
    return endOf(socket, getpeername);
}

Endpoint localOf(int socket) {
    return endOf(socket, getsockname);
}

}  // namespace portald
