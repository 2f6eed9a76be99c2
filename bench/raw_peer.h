#pragma once

// Peers of the bus that keep to no rules, byte by byte.
//
// Threads: one object belongs to one thread.

#include <atomic>
#include <string>
#include <thread>

#include "ostrel/runtime.h"

namespace vesta::bench {

// Connects to vestad's socket in `runtimeDirectory`. Throws std::runtime_error when it isn't there.
ostrel::Fd connectRaw(const std::string& runtimeDirectory);

// Sends a frame as a tool and waits until it is answered, the answer read, or the connection is
// closed. False when nothing of it happens within a minute.
[[nodiscard]] bool askRaw(const std::string& runtimeDirectory, const std::string& payload);

// Asks "get" as fast as the daemon takes it, and never reads, until it is destroyed.
class DeafPeer {
public:
    explicit DeafPeer(const std::string& runtimeDirectory);
    ~DeafPeer();
    DeafPeer(const DeafPeer&) = delete;
    DeafPeer& operator=(const DeafPeer&) = delete;

private:
    void run() const;

    const ostrel::Fd socket_;
    std::atomic<bool> ending_{false};
    std::thread thread_;
};

}  // namespace vesta::bench
