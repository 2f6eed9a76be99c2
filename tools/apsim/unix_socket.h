#pragma once

// Unix sockets by path, for the module server.

#include <sys/socket.h>

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

}  // namespace apsim
