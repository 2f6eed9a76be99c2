#pragma once

// A private bus for one test: its runtime directory, what the library reported, raw peers that
// speak the wire format by hand, and a worker that runs process(). No raw peer waits longer than
// five seconds.

#include <gmock/gmock.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "ostrel/ipc.h"
#include "ostrel/runtime.h"
#include "support/collected.h"
#include "support/runtime_directory.h"

namespace ostrel::bus {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Pair;
using vesta::testing::Collected;

inline constexpr ipc_module_t kServer = IPC_MODULE_VESTAD;

// The text of a message and who sent it.
using Message = std::pair<std::string, int>;

// A frame as the format page describes it, made without the library.
inline std::string handMadeFrame(std::uint32_t sender, std::string_view payload) {
    std::string frame;
    for (const std::uint32_t number : {static_cast<std::uint32_t>(payload.size()), sender}) {
        for (const unsigned int shift : {24U, 16U, 8U, 0U}) {
            frame += static_cast<char>(number >> shift);
        }
    }
    return frame.append(payload);
}

inline sockaddr_un addressOf(int module) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = runtimeDirectory() + "/bus/" + std::to_string(module);
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

inline bool readable(int fd) {
    pollfd wanted{fd, POLLIN, 0};
    return poll(&wanted, 1, 5000) == 1;
}

// One end of a stream, used byte by byte.
class RawPeer {
public:
    explicit RawPeer(Fd socket) : socket_(std::move(socket)) {}
    static RawPeer connectedTo(int module) {
        RawPeer peer{Fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))};
        const sockaddr_un address = addressOf(module);
        EXPECT_EQ(connect(peer.socket_.get(), reinterpret_cast<const sockaddr*>(&address),
                          sizeof address),
                  0)
            << std::strerror(errno);
        return peer;
    }

    void write(std::string_view bytes) { EXPECT_TRUE(tryWrite(bytes)) << std::strerror(errno); }
    // False when the other side has closed.
    bool tryWrite(std::string_view bytes) {
        while (!bytes.empty()) {
            const ssize_t count = send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (count <= 0) {
                return false;
            }
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
        return true;
    }
    // Repeats `bytes` until nothing has been taken for 200 ms, or up to `limit` bytes; returns how
    // many were taken.
    std::size_t writeUntilStalled(std::string_view bytes, std::size_t limit) {
        std::size_t taken = 0;
        pollfd wanted{socket_.get(), POLLOUT, 0};
        while (taken < limit && poll(&wanted, 1, 1000) == 1) {
            const std::string_view rest = bytes.substr(taken % bytes.size());
            const ssize_t count =
                send(socket_.get(), rest.data(), rest.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
            taken += count > 0 ? static_cast<std::size_t>(count) : 0;
        }
        return taken;
    }
    // Less when the stream ends before.
    std::string read(std::size_t count) {
        std::string bytes(count, '\0');
        std::size_t filled = 0;
        ssize_t got = 1;
        while (filled < count && got > 0 && readable(socket_.get())) {
            got = recv(socket_.get(), &bytes[filled], count - filled, 0);
            filled += got > 0 ? static_cast<std::size_t>(got) : 0;
        }
        bytes.resize(filled);
        return bytes;
    }
    std::pair<std::uint32_t, std::string> readFrame() {
        const std::string header = read(8);
        std::uint64_t numbers = 0;
        for (const char byte : header) {
            numbers = numbers << 8U | static_cast<unsigned char>(byte);
        }
        return {static_cast<std::uint32_t>(numbers),
                read(static_cast<std::uint32_t>(numbers >> 32U))};
    }
    // Whether the other side closes without sending anything more.
    bool seesEnd() {
        char byte = 0;
        return readable(socket_.get()) && recv(socket_.get(), &byte, 1, 0) <= 0;
    }
    void finishWriting() { shutdown(socket_.get(), SHUT_WR); }
    void leave() { socket_.reset(); }

private:
    Fd socket_;
};

// The socket file of a module, without the library behind it.
class RawModule {
public:
    explicit RawModule(int module) : socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        std::filesystem::create_directories(runtimeDirectory() + "/bus");
        const sockaddr_un address = addressOf(module);
        EXPECT_EQ(bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
                  0);
        EXPECT_EQ(listen(socket_.get(), 10), 0);
    }
    RawPeer accept() {
        EXPECT_TRUE(readable(socket_.get()));
        return RawPeer(Fd(accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC)));
    }

private:
    Fd socket_;
};

// Runs process() on a thread of its own until it is destroyed.
class Worker {
public:
    Worker(IpcInterface& bus, IpcInterface::CommandTable commands)
        : bus_(bus), thread_([&bus, commands = std::move(commands)] { bus.process(commands); }) {}
    ~Worker() {
        bus_.stop();
        thread_.join();
    }

private:
    IpcInterface& bus_;
    std::thread thread_;
};

class BusTest : public ::testing::Test {
protected:
    BusTest() {
        reports_.take();
        setLogSink([](LogLevel, const char* text) { reports_.add(text); });
    }
    ~BusTest() override { setLogSink(nullptr); }

    // A command that notes what it is given.
    IpcInterface::Command note() {
        return [this](void* message, void*, int sender) {
            received_.add(Message{static_cast<const char*>(message), sender});
        };
    }
    // A command that sends the text back to where it came from.
    static IpcInterface::Command echo(IpcInterface& bus) {
        return [&bus](void* message, void*, int sender) { bus.send(message, sender); };
    }
    std::string path(int module) const { return runtime_.path("bus/" + std::to_string(module)); }

    vesta::testing::RuntimeDirectory runtime_;
    Collected<Message> received_;
    inline static Collected<std::string> reports_;
};

}  // namespace ostrel::bus
