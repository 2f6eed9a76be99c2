#include "redirectord/socket_address.h"

#include <netdb.h>
#include <netinet/in.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace redirectord {
namespace {

// Host and port of "HOST:PORT" or "[HOST]:PORT"; an IPv6 address without brackets has no port.
std::pair<std::string, std::string> split(const std::string& text, const std::string& port) {
    const std::size_t colon = text.rfind(':');
    if (!text.empty() && text.front() == '[') {
        const std::size_t bracket = text.find(']');
        const std::string rest = bracket == std::string::npos ? "" : text.substr(bracket + 1);
        const std::string host = text.substr(1, bracket == std::string::npos ? 0 : bracket - 1);
        return {host, rest.empty() ? port : rest.substr(rest.front() == ':' ? 1 : rest.size())};
    }
    if (colon != std::string::npos && text.find(':') == colon) {
        return {text.substr(0, colon), text.substr(colon + 1)};
    }
    return {text, port};
}

}  // namespace

IpAddress SocketAddress::ip() const {
    if (storage.ss_family == AF_INET6) {
        sockaddr_in6 v6{};
        std::memcpy(&v6, &storage, sizeof v6);
        return IpAddress::v6(&v6.sin6_addr);
    }
    sockaddr_in v4{};
    std::memcpy(&v4, &storage, sizeof v4);
    return IpAddress::v4(&v4.sin_addr);
}

std::string SocketAddress::text() const {
    std::array<char, NI_MAXHOST> host{};
    std::array<char, NI_MAXSERV> port{};
    getnameinfo(get(), size, host.data(), host.size(), port.data(), port.size(),
                NI_NUMERICHOST | NI_NUMERICSERV);
    const std::string name = host.data();
    return (storage.ss_family == AF_INET6 ? "[" + name + "]" : name) + ":" + port.data();
}

bool operator==(const SocketAddress& a, const SocketAddress& b) {
    return a.size == b.size && std::memcmp(&a.storage, &b.storage, a.size) == 0;
}

SocketAddress parseSocketAddress(const std::string& text, const std::string& port) {
    const auto [host, service] = split(text, port);
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* found = nullptr;
    if (host.empty() || service.empty() ||
        getaddrinfo(host.c_str(), service.c_str(), &hints, &found) != 0) {
        throw std::invalid_argument("not ADDRESS or ADDRESS:PORT: \"" + text + "\"");
    }
    SocketAddress address;
    std::memcpy(&address.storage, found->ai_addr, found->ai_addrlen);
    address.size = found->ai_addrlen;
    freeaddrinfo(found);
    return address;
}

ostrel::Fd openPort(sa_family_t family, int type, std::uint16_t port) {
    ostrel::Fd fd(socket(family, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!fd.valid() && errno == EAFNOSUPPORT) {
        return {};
    }
    const int on = 1;
    setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in v4{};
    v4.sin_family = AF_INET;
    v4.sin_port = htons(port);
    sockaddr_in6 v6{};
    v6.sin6_family = AF_INET6;
    v6.sin6_port = htons(port);
    if (family == AF_INET6) {
        setsockopt(fd.get(), IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
    }
    const int bound = family == AF_INET6
                          ? bind(fd.get(), reinterpret_cast<const sockaddr*>(&v6), sizeof v6)
                          : bind(fd.get(), reinterpret_cast<const sockaddr*>(&v4), sizeof v4);
    if (bound != 0 || (type == SOCK_STREAM && listen(fd.get(), SOMAXCONN) != 0)) {
        throw std::system_error(errno, std::generic_category(), "port " + std::to_string(port));
    }
    return fd;
}

}  // namespace redirectord
