#pragma once

// The source ports that requests to one server leave from, and which identifier of which port is in
// flight for what. An identifier is one byte, so a port carries 256 requests at a time (RFC 2865
// section 2.4); with all taken another port is opened.
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

// An identifier in flight: the request, and the authenticator that it went out with.
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

    // At least one socket opened and watched; false when the system has none left.
    [[nodiscard]] bool open(const Watch& watch);
    void closeAll() { ports_.clear(); }

    // Takes an identifier that is not in flight, `wanted` if that is to be had. None when all of
    // all ports are.
    [[nodiscard]] std::optional<Slot> take(std::uint8_t wanted, const Watch& watch);
    void put(Slot slot, InFlight inFlight) {
        ports_[slot.port].inFlight[slot.id] = std::move(inFlight);
    }
    void release(Slot slot);
    [[nodiscard]] bool hasRoom() const;

    // The next identifier, in turn, that no port has in flight, as long as there is one.
    [[nodiscard]] std::uint8_t suggest();

    [[nodiscard]] bool contains(int fd) const;
    // What is in flight on that socket under that identifier; null when nothing is.
    [[nodiscard]] const InFlight* find(int fd, std::uint8_t id) const;
    // Sends without waiting; false with errno set.
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
