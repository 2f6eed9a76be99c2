#pragma once

// The way to a user-space module server: its address, a connection whose making is bounded in time,
// and the memory of a server that hangs, so that it costs the daemon one wait now and then instead
// of one a request.
//
// Threads: the functions keep nothing; a Health belongs to whoever holds its owner's lock.

#include <sys/socket.h>

#include <chrono>
#include <cstdint>
#include <string>

#include "ostrel/runtime.h"

namespace ostrel::modules {

// <runtime>/modules
std::string serverDirectory();

// The end of a wait that may take several system calls.
class Deadline {
public:
    explicit Deadline(std::chrono::microseconds bound);
    // Lets each sending, connecting and receiving on `fd` wait until the end, no longer.
    void apply(const Fd& fd) const;

private:
    std::int64_t end_;
};

// Connects to the SOCK_SEQPACKET server at `path`. Invalid with errno set: ENOENT when no server is
// there (or has left its socket file behind), EIO when it took no connection until `deadline`.
[[nodiscard]] Fd connectServer(const std::string& path, const Deadline& deadline);

// How a server has been doing. It reports when trouble begins and when it is over, once each.
class Health {
public:
    // `what` names the server in the reports.
    explicit Health(const char* what) : what_(what) {}

    // Nothing is to be asked of the server for the moment.
    [[nodiscard]] bool resting() const;
    // It kept somebody waiting in vain: it is left alone for a second, then for longer ones.
    void silent();
    void trouble(const char* reason);
    void good();

private:
    const char* what_;
    bool troubled_ = false;
    std::int64_t rest_ = 0;   // microseconds
    std::int64_t until_ = 0;  // monotonic microseconds
};

}  // namespace ostrel::modules
