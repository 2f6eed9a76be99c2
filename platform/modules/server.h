#pragma once

// The way to a user-space module server: its address, connecting within a time limit, and a memory
// of servers that hang. Such a server makes the daemon wait now and then, not at each request.
//
// Threads: the functions keep nothing; the lock of its owner guards a Health.

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

// Whether a server answers. Reports once when trouble begins, and once when it is over.
class Health {
public:
    // `what` names the server in the reports.
    explicit Health(const char* what) : what_(what) {}

    // True while the server is to be left alone.
    [[nodiscard]] bool resting() const;
    // Notes that the server did not answer in time: it is left alone for a second, then for longer
    // and longer.
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
