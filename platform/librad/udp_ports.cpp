#include "udp_ports.h"

#include <sys/socket.h>

#include <algorithm>

namespace ostrel::radius {
namespace {

// Room for the answers to a burst; the kernel gives what it allows.
constexpr int kReceiveBuffer = 1 << 20;

}  // namespace

std::optional<Bytes> receiveDatagram(int fd, DatagramBuffer& buffer, sockaddr_in& from) {
    socklen_t fromLength = sizeof from;
    const ssize_t length = recvfrom(fd, buffer.data(), buffer.size(), MSG_DONTWAIT,
                                    reinterpret_cast<sockaddr*>(&from), &fromLength);
    return length < 0 ? std::nullopt
                      : std::optional(Bytes{buffer.data(), static_cast<std::size_t>(length)});
}

bool UdpPorts::open(const Watch& watch) {
    Port port;
    port.socket.reset(socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!port.socket.valid()) {
        return false;
    }
    setsockopt(port.socket.get(), SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof kReceiveBuffer);
    // Bound now, to a port of the system's choice, since an unbound socket can't be listened on.
    sockaddr_in any{};
    any.sin_family = AF_INET;
    if (bind(port.socket.get(), reinterpret_cast<const sockaddr*>(&any), sizeof any) != 0 ||
        !watch(port.socket.get())) {
        return false;
    }
    ports_.push_back(std::move(port));
    return true;
}

std::optional<UdpPorts::Slot> UdpPorts::take(std::uint8_t wanted, const Watch& watch) {
    for (std::size_t port = 0; port < ports_.size(); ++port) {
        if (!ports_[port].taken[wanted]) {
            return claim(port, wanted);
        }
    }
    for (std::size_t port = 0; port < ports_.size(); ++port) {
        const auto& taken = ports_[port].taken;
        if (ports_[port].count < kIdentifiers) {
            const auto free = std::find(taken.begin(), taken.end(), false);
            return claim(port, static_cast<std::uint8_t>(free - taken.begin()));
        }
    }
    if (ports_.size() < kMaxPorts && open(watch)) {
        return claim(ports_.size() - 1, wanted);
    }
    return std::nullopt;
}

UdpPorts::Slot UdpPorts::claim(std::size_t port, std::uint8_t id) {
    ports_[port].taken[id] = true;
    ++ports_[port].count;
    return {static_cast<std::uint8_t>(port), id};
}

void UdpPorts::release(Slot slot) {
    Port& port = ports_[slot.port];
    port.inFlight[slot.id] = {};
    port.taken[slot.id] = false;
    --port.count;
}

std::uint8_t UdpPorts::suggest() {
    for (std::size_t i = 0; i < kIdentifiers; ++i) {
        const std::uint8_t id = suggested_++;
        if (std::none_of(ports_.begin(), ports_.end(),
                         [id](const Port& port) { return port.taken[id]; })) {
            return id;
        }
    }
    return suggested_++;
}

bool UdpPorts::hasRoom() const {
    return std::any_of(ports_.begin(), ports_.end(),
                       [](const Port& port) { return port.count < kIdentifiers; });
}

bool UdpPorts::contains(int fd) const {
    return std::any_of(ports_.begin(), ports_.end(),
                       [fd](const Port& port) { return port.socket.get() == fd; });
}

const InFlight* UdpPorts::find(int fd, std::uint8_t id) const {
    for (const Port& port : ports_) {
        if (port.socket.get() == fd) {
            return port.inFlight[id].request != nullptr ? &port.inFlight[id] : nullptr;
        }
    }
    return nullptr;
}

bool UdpPorts::send(Slot slot, Bytes packet, const sockaddr_in& to) const {
    return sendto(ports_[slot.port].socket.get(), packet.data, packet.size, MSG_DONTWAIT,
                  reinterpret_cast<const sockaddr*>(&to), sizeof to) >= 0;
}

}  // namespace ostrel::radius
