#pragma once

// hostapd's control interface of one device, played by the test.
//
// Threads: one.

#include <poll.h>
#include <sys/socket.h>

#include <stdexcept>
#include <string>

#include "ostrel/addresses.h"
#include "ostrel/runtime.h"

namespace companion::testing {

class FakeHostapd {
public:
    // `path`: the socket, the directory's and the device's name.
    explicit FakeHostapd(const std::string& path) : socket_(socket(AF_UNIX, SOCK_DGRAM, 0)) {
        sockaddr_un own{};
        if (!ostrel::unixAddress(path, own) ||
            bind(socket_.get(), reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0) {
            throw std::runtime_error("no socket at " + path);
        }
    }

    [[nodiscard]] int fd() const { return socket_.get(); }
    // The next request within ten seconds, else "".
    std::string take() {
        pollfd waited{fd(), POLLIN, 0};
        if (poll(&waited, 1, 10000) != 1) {
            return "";
        }
        char text[4096];
        askerSize_ = sizeof asker_;
        const ssize_t bytes =
            recvfrom(fd(), text, sizeof text, 0, reinterpret_cast<sockaddr*>(&asker_), &askerSize_);
        return {text, bytes > 0 ? static_cast<std::size_t>(bytes) : 0};
    }
    // Says something to who asked last. False when it has gone.
    bool say(const std::string& text) {
        return sendto(fd(), text.data(), text.size(), 0, reinterpret_cast<sockaddr*>(&asker_),
                      askerSize_) >= 0;
    }

private:
    ostrel::Fd socket_;
    sockaddr_un asker_{};
    socklen_t askerSize_ = 0;
};

}  // namespace companion::testing
