#pragma once

// The source ports of the requests to one server, and which request each port's identifiers are in
// flight for. An identifier is one byte, so a port carries 256 requests at a time (RFC 2865 section
// 2.4). When all are taken, another port is opened.
//
// Threads: guarded by the owner's lock.

#include <netinet/in.h>

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "crypto.h"
#include "ostrel/runtime.h"

namespace ostrel::radius {

struct Request;

using DatagramBuffer = std::array<std::uint8_t, librad_max_message_length>;

// The next datagram that waits on `fd`, in `buffer`, and where it comes from. Nothing when none
// waits.
[[nodiscard]] std::optional<Bytes> receiveDatagram(int fd, DatagramBuffer& buffer,
                                                   sockaddr_in& from);

// What is in flight under an identifier: the request and the authenticator of that transmission.
struct InFlight {
    std::shared_ptr<Request> request;
    Digest authenticator{};
};

class UdpPorts {
public:
    struct Slot {
        std::uint8_t port;
        std::uint8_t id;
    };

    // Called with each new socket; false when it can't be listened on.
    using Watch = std::function<bool(int fd)>;

    // Opens a socket and has it watched. False when the system has none left.
    [[nodiscard]] bool open(const Watch& watch);
    void closeAll() { ports_.clear(); }

    // Takes an identifier that is not in flight: `wanted`, if one port has it free. Nothing when
    // all identifiers of 16 ports are in flight.
    [[nodiscard]] std::optional<Slot> take(std::uint8_t wanted, const Watch& watch);
    void put(Slot slot, InFlight inFlight) {
        ports_[slot.port].inFlight[slot.id] = std::move(inFlight);
    }
    void release(Slot slot);
    [[nodiscard]] bool hasRoom() const;

    // The next identifier in turn that no port has in flight; any when there is none.
    [[nodiscard]] std::uint8_t suggest();

    [[nodiscard]] bool contains(int fd) const;
    // What is in flight on that socket under that identifier; null for nothing.
    [[nodiscard]] const InFlight* find(int fd, std::uint8_t id) const;
    // Sends without waiting. False with errno set.
    [[nodiscard]] bool send(Slot slot, Bytes packet, const sockaddr_in& to) const;

private:
    static constexpr std::size_t kMaxPorts = 16;
    static constexpr std::size_t kIdentifiers = 256;

    struct Port {
        Fd socket;
        std::array<InFlight, kIdentifiers> inFlight;
        std::array<bool, kIdentifiers> taken{};
        std::size_t count = 0;
    };

    Slot claim(std::size_t port, std::uint8_t id);

    std::vector<Port> ports_;
    std::uint8_t suggested_ = 0;
};

}  // namespace ostrel::radius
