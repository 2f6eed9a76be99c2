#pragma once

// The ends of connections, and sockets that listen.
//
// Threads: any.

#include <cstdint>
#include <string>

#include "ostrel/runtime.h"

namespace portald {

struct Endpoint {
    std::string address;      // "" when the connection has none any more
    unsigned int device = 0;  // index of the interface, of link-local addresses alone
};

// An address of IPv4 is given in its own form also where it comes to a socket of IPv6.
[[nodiscard]] Endpoint peerOf(int socket);
[[nodiscard]] Endpoint localOf(int socket);
[[nodiscard]] std::uint16_t portOf(int socket);

// A non-blocking socket that listens on all addresses of both families, or on those of IPv4 where
// the system has no IPv6. `port` 0 takes a free one. Throws std::system_error.
[[nodiscard]] ostrel::Fd listeningSocket(std::uint16_t port);

}  // namespace portald
