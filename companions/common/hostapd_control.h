#pragma once

// The control interface of hostapd: a Unix datagram socket for each device that it serves. A
// request is a text and so is its answer; after "ATTACH" events come unasked, each with "<level>"
// before it.
//
// Threads: one at a time.

#include <chrono>
#include <optional>
#include <string>

#include "ostrel/runtime.h"

namespace companion {

class HostapdControl {
public:
    // Connects to hostapd's socket of `device` in `directory`. Nothing, with errno set, when nobody
    // listens there. Our own end has an abstract name, so nothing is left behind in the file
    // system.
    static std::optional<HostapdControl> open(const std::string& directory,
                                              const std::string& device);

    [[nodiscard]] int fd() const { return socket_.get(); }
    // Both at once: false, or nothing, with errno set, when hostapd has gone or there is nothing.
    [[nodiscard]] bool send(const std::string& request) const;
    [[nodiscard]] std::optional<std::string> receive() const;

    // Sends and waits for the answer. Nothing, with errno set, when there is none in time.
    [[nodiscard]] std::optional<std::string> ask(const std::string& request,
                                                 std::chrono::milliseconds patience) const;

    [[nodiscard]] static bool isEvent(const std::string& text) {
        return !text.empty() && text.front() == '<';
    }

private:
    explicit HostapdControl(ostrel::Fd socket) : socket_(std::move(socket)) {}

    ostrel::Fd socket_;
};

}  // namespace companion
