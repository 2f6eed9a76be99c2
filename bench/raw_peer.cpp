#include "raw_peer.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string_view>

namespace vesta::bench {
namespace {

// Numbers that no other tool of a measurement has.
constexpr std::uint32_t kAsker = 2000000001;
constexpr std::uint32_t kDeaf = 2000000002;
constexpr int kPatienceMilliseconds = 60000;

std::string frameOf(std::uint32_t sender, const std::string& payload) {
    std::string frame;
    for (const std::uint32_t number : {static_cast<std::uint32_t>(payload.size()), sender}) {
        for (const unsigned int shift : {24U, 16U, 8U, 0U}) {
            frame += static_cast<char>(number >> shift);
        }
    }
    return frame + payload;
}

// Less when the other side closes or nothing moves for too long.
std::size_t readSome(int socket, char* bytes, std::size_t most) {
    pollfd wanted{socket, POLLIN, 0};
    if (poll(&wanted, 1, kPatienceMilliseconds) != 1) {
        return 0;
    }
    const ssize_t count = recv(socket, bytes, most, 0);
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

}  // namespace

ostrel::Fd connectRaw(const std::string& runtimeDirectory) {
    ostrel::Fd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    (runtimeDirectory + "/bus/3").copy(address.sun_path, sizeof address.sun_path - 1);
    if (connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        throw std::runtime_error("no vestad on the bus of " + runtimeDirectory);
    }
    return socket;
}

bool askRaw(const std::string& runtimeDirectory, const std::string& payload) {
    const ostrel::Fd socket = connectRaw(runtimeDirectory);
    const std::string frame = frameOf(kAsker, payload);
    for (std::string_view rest = frame; !rest.empty();) {
        const ssize_t count = send(socket.get(), rest.data(), rest.size(), MSG_NOSIGNAL);
        if (count <= 0) {
            return true;  // closed
        }
        rest.remove_prefix(static_cast<std::size_t>(count));
    }
    std::array<char, 65536> buffer;
    std::size_t got = 0;
    std::uint64_t length = 0;
    while (got < 8 + length) {
        const std::size_t count = readSome(socket.get(), buffer.data(), buffer.size());
        if (count == 0) {
            char byte = 0;
            return recv(socket.get(), &byte, 1, MSG_DONTWAIT) == 0;
        }
        for (std::size_t i = got; i < 4 && i - got < count; ++i) {
            length = length << 8U | static_cast<unsigned char>(buffer[i - got]);
        }
        got += count;
    }
    return true;
}

DeafPeer::DeafPeer(const std::string& runtimeDirectory)
    : socket_(connectRaw(runtimeDirectory)), thread_([this] { run(); }) {}

DeafPeer::~DeafPeer() {
    ending_ = true;
    shutdown(socket_.get(), SHUT_RDWR);
    thread_.join();
}

void DeafPeer::run() const {
    const std::string frame = frameOf(kDeaf, R"({"command": "get"})");
    std::string frames;
    for (int i = 0; i < 1000; ++i) {
        frames += frame;
    }
    for (std::size_t sent = 0; !ending_; sent %= frames.size()) {
        const ssize_t count =
            send(socket_.get(), frames.data() + sent, frames.size() - sent, MSG_NOSIGNAL);
        sent += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
}

}  // namespace vesta::bench
