#include "apsim/udp_socket.h"

#include <sys/socket.h>

#include <array>

#include "apsim/unix_socket.h"

namespace apsim {

namespace {

constexpr std::size_t kLargestDatagram = 65536;

}  // namespace

ostrel::Fd bindLoopback(std::uint16_t port) {
    ostrel::Fd fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const sockaddr_in address = loopbackAddress(port);
    if (!fd.valid() ||
        bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        throw systemError("can't have UDP port " + std::to_string(port) + " of loopback");
    }
    return fd;
}

std::uint16_t portOf(const ostrel::Fd& socket) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin_port);
}

sockaddr_in loopbackAddress(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

bool receiveFrom(const ostrel::Fd& socket, std::string& datagram, sockaddr_in& sender) {
    std::array<char, kLargestDatagram> buffer;
    socklen_t length = sizeof sender;
    const ssize_t size = recvfrom(socket.get(), buffer.data(), buffer.size(), MSG_DONTWAIT,
                                  reinterpret_cast<sockaddr*>(&sender), &length);
    datagram.assign(buffer.data(), size < 0 ? 0 : static_cast<std::size_t>(size));
    return size >= 0;
}

void sendTo(const ostrel::Fd& socket, const std::string& datagram, const sockaddr_in& receiver) {
    if (datagram.empty()) {
        return;
    }
    static_cast<void>(sendto(socket.get(), datagram.data(), datagram.size(), MSG_DONTWAIT,
                             reinterpret_cast<const sockaddr*>(&receiver), sizeof receiver));
}

}  // namespace apsim
