#pragma once

// A module server that does what a test tells it, one call at a time. Nothing waits longer than
// five seconds, so that a fault ends in a failure.

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "ostrel/runtime.h"
#include "support/fake_clock.h"
#include "support/runtime_directory.h"

namespace ostrel::testing {

// A runtime directory of one's own, with a place for the servers.
class ModulesTest : public ::testing::Test {
protected:
    ModulesTest() { std::filesystem::create_directory(runtime.path("modules")); }

    [[nodiscard]] std::string path(const std::string& name) const {
        return runtime.path("modules/" + name);
    }

    vesta::testing::FakeClock clock;
    vesta::testing::RuntimeDirectory runtime;
};

inline sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

class FakeServer {
public:
    explicit FakeServer(const std::string& path, int backlog = 8)
        : listener_(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0)) {
        bound(listener_);
        unlink(path.c_str());
        const sockaddr_un address = addressOf(path);
        EXPECT_EQ(
            bind(listener_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(listen(listener_.get(), backlog), 0);
    }

    // Waits for the next connection, which takes the place of the one before.
    void accept() {
        connection.reset(::accept(listener_.get(), nullptr, nullptr));
        bound(connection);
    }

    // The next datagram; "" at the end of the connection.
    std::string receive() const {
        char buffer[4096];
        const ssize_t length = recv(connection.get(), buffer, sizeof buffer, 0);
        return {buffer, length > 0 ? static_cast<std::size_t>(length) : 0};
    }

    // The one datagram of the next connection.
    std::string receiveFile() {
        accept();
        const std::string text = receive();
        EXPECT_EQ(receive(), "");
        return text;
    }

    bool send(const std::string& datagram) const {
        return ::send(connection.get(), datagram.data(), datagram.size(), MSG_NOSIGNAL) >= 0;
    }

    Fd connection;

private:
    static void bound(const Fd& fd) {
        const timeval seconds{5, 0};
        setsockopt(fd.get(), SOL_SOCKET, SO_RCVTIMEO, &seconds, sizeof seconds);
    }

    Fd listener_;
};

// `value` as it stands in memory.
inline std::string word(std::int64_t value) {
    const std::uint32_t bits = static_cast<std::uint32_t>(value);
    std::string text(sizeof bits, '\0');
    std::memcpy(text.data(), &bits, sizeof bits);
    return text;
}

}  // namespace ostrel::testing
