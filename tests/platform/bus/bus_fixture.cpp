#include "bus_fixture.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace ostrel::bus {
namespace {

constexpr int kPatienceMilliseconds = 5000;

sockaddr_un addressOf(int module) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = runtimeDirectory() + "/bus/" + std::to_string(module);
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

bool readable(int fd) {
    pollfd wanted{fd, POLLIN, 0};
    return poll(&wanted, 1, kPatienceMilliseconds) == 1;
}

std::string number(std::uint32_t value) {
    return {static_cast<char>(value >> 24), static_cast<char>(value >> 16),
            static_cast<char>(value >> 8), static_cast<char>(value)};
}

}  // namespace

std::string handMadeFrame(std::uint32_t sender, std::string_view payload) {
    return number(static_cast<std::uint32_t>(payload.size())) + number(sender) +
           std::string(payload);
}

RawPeer RawPeer::connectedTo(int module) {
    RawPeer peer{Fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))};
    const sockaddr_un address = addressOf(module);
    EXPECT_EQ(
        connect(peer.socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0)
        << std::strerror(errno);
    return peer;
}

void RawPeer::write(std::string_view bytes) {
    EXPECT_TRUE(tryWrite(bytes)) << std::strerror(errno);
}

bool RawPeer::tryWrite(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

std::size_t RawPeer::writeUntilStalled(std::string_view bytes, std::size_t limit) {
    std::size_t taken = 0;
    pollfd wanted{socket_.get(), POLLOUT, 0};
    while (taken < limit && poll(&wanted, 1, 200) == 1) {
        const std::string_view rest = bytes.substr(taken % bytes.size());
        const ssize_t count =
            send(socket_.get(), rest.data(), rest.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        taken += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return taken;
}

std::string RawPeer::read(std::size_t count) {
    std::string bytes(count, '\0');
    std::size_t filled = 0;
    while (filled < count && readable(socket_.get())) {
        const ssize_t got = recv(socket_.get(), &bytes[filled], count - filled, 0);
        if (got <= 0) {
            return "";
        }
        filled += static_cast<std::size_t>(got);
    }
    bytes.resize(filled);
    return bytes;
}

std::pair<std::uint32_t, std::string> RawPeer::readFrame() {
    const std::string header = read(8);
    if (header.size() != 8) {
        return {};
    }
    const auto numberAt = [&](std::size_t offset) {
        std::uint32_t value = 0;
        for (std::size_t i = offset; i < offset + 4; ++i) {
            value = value * 256 + static_cast<unsigned char>(header[i]);
        }
        return value;
    };
    return {numberAt(4), read(numberAt(0))};
}

bool RawPeer::seesEnd() {
    char byte = 0;
    return readable(socket_.get()) && recv(socket_.get(), &byte, 1, 0) <= 0;
}

void RawPeer::finishWriting() {
    shutdown(socket_.get(), SHUT_WR);
}

RawModule::RawModule(int module) : socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    std::filesystem::create_directories(runtimeDirectory() + "/bus");
    const sockaddr_un address = addressOf(module);
    EXPECT_EQ(bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(socket_.get(), 10), 0);
}

RawPeer RawModule::accept() {
    EXPECT_TRUE(readable(socket_.get()));
    return RawPeer(Fd(accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC)));
}

Worker::Worker(IpcInterface& bus, IpcInterface::CommandTable commands)
    : bus_(bus), thread_([&bus, commands = std::move(commands)] { bus.process(commands); }) {}

Worker::~Worker() {
    bus_.stop();
    thread_.join();
}

Collected<std::string> BusTest::reports_;

BusTest::BusTest() {
    char path[] = "/tmp/bus_test.XXXXXX";
    directory_ = mkdtemp(path);
    setenv("OSTREL_RUNTIME_DIR", directory_.c_str(), 1);
    reports_.clear();
    setLogSink([](LogLevel, const char* text) { reports_.add(text); });
}

BusTest::~BusTest() {
    setLogSink(nullptr);
    std::filesystem::remove_all(directory_);
}

IpcInterface::Command BusTest::note() {
    return [this](void* message, void*, int sender) {
        received_.add(Message{static_cast<const char*>(message), sender});
    };
}

IpcInterface::Command BusTest::echo(IpcInterface& bus) {
    return [&bus](void* message, void*, int sender) { bus.send(message, sender); };
}

std::string BusTest::path(int module) const {
    return directory_ + "/bus/" + std::to_string(module);
}

}  // namespace ostrel::bus
