#include "apsim/sockets.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "ostrel/addresses.h"

namespace apsim {

namespace {

constexpr std::size_t kLargestDatagram = 65536;

const sockaddr* generic(const sockaddr_un& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

}  // namespace

std::runtime_error systemError(const std::string& text) {
    return std::runtime_error(text + ": " + std::strerror(errno));
}

ostrel::Fd listenAt(const std::string& path, int backlog) {
    sockaddr_un address{};
    if (!ostrel::unixAddress(path, address)) {
        throw systemError("can't listen at " + path);
    }
    if (connectTo(path, SOCK_SEQPACKET).valid()) {
        throw std::runtime_error("can't listen at " + path + ": another server does");
    }
    unlink(path.c_str());
    ostrel::Fd fd(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!fd.valid() || bind(fd.get(), generic(address), sizeof address) != 0 ||
        listen(fd.get(), backlog) != 0) {
        throw systemError("can't listen at " + path);
    }
    return fd;
}

ostrel::Fd connectTo(const std::string& path, int type) {
    sockaddr_un address{};
    ostrel::Fd fd(socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
    if (!fd.valid() || !ostrel::unixAddress(path, address) ||
        connect(fd.get(), generic(address), sizeof address) != 0) {
        fd.reset();
    }
    return fd;
}

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
