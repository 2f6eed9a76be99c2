#pragma once

// Sockets: Unix ones by path for the module server, UDP over IPv4 for who plays a RADIUS server.

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>
#include <stdexcept>
#include <string>

#include "ostrel/runtime.h"

namespace apsim {

// "text: reason of errno", as an exception to throw.
std::runtime_error systemError(const std::string& text);

// A non-blocking SOCK_SEQPACKET listener; a file that a dead server left at `path` is taken over.
// Throws std::runtime_error, naming the path.
ostrel::Fd listenAt(const std::string& path, int backlog);

// Connected to `path`; invalid, with errno set, when nobody listens there.
[[nodiscard]] ostrel::Fd connectTo(const std::string& path, int type);

// A non-blocking socket at this port of loopback, 0 for any that is free. Throws
// std::runtime_error, naming the port.
ostrel::Fd bindLoopback(std::uint16_t port);
std::uint16_t portOf(const ostrel::Fd& socket);

sockaddr_in loopbackAddress(std::uint16_t port);

// Takes one datagram that is there, with its sender; false when none is.
bool receiveFrom(const ostrel::Fd& socket, std::string& datagram, sockaddr_in& sender);
// A datagram that the system doesn't take is lost, as on any network; an empty one is not sent.
void sendTo(const ostrel::Fd& socket, const std::string& datagram, const sockaddr_in& receiver);

}  // namespace apsim
