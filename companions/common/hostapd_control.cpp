#include "common/hostapd_control.h"

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>

#include "ostrel/addresses.h"

namespace companion {

std::optional<HostapdControl> HostapdControl::open(const std::string& directory,
                                                   const std::string& device) {
    sockaddr_un theirs{};
    if (!ostrel::unixAddress(directory + "/" + device, theirs)) {
        return std::nullopt;
    }
    ostrel::Fd socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_un ours{};
    ours.sun_family = AF_UNIX;
    // unix(7): an address that is nothing but its family has the kernel choose an abstract name.
    if (!socket.valid() ||
        bind(socket.get(), reinterpret_cast<const sockaddr*>(&ours), sizeof ours.sun_family) != 0 ||
        connect(socket.get(), reinterpret_cast<const sockaddr*>(&theirs), sizeof theirs) != 0) {
        return std::nullopt;
    }
    return HostapdControl(std::move(socket));
}

bool HostapdControl::send(const std::string& request) const {
    return ::send(socket_.get(), request.data(), request.size(), MSG_NOSIGNAL) >= 0;
}

std::optional<std::string> HostapdControl::receive() const {
    std::array<char, 4096> buffer;  // what hostapd's own tools take
    const ssize_t bytes = recv(socket_.get(), buffer.data(), buffer.size(), 0);
    if (bytes < 0) {
        return std::nullopt;
    }
    return std::string(buffer.data(), static_cast<std::size_t>(bytes));
}

std::optional<std::string> HostapdControl::ask(const std::string& request,
                                               std::chrono::milliseconds patience) const {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + patience;
    if (!send(request)) {
        return std::nullopt;
    }
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        pollfd waited{socket_.get(), POLLIN, 0};
        if (left.count() <= 0 || poll(&waited, 1, static_cast<int>(left.count())) == 0) {
            errno = ETIMEDOUT;
            return std::nullopt;
        }
        std::optional<std::string> answer = receive();
        if (answer && !isEvent(*answer)) {
            return answer;
        }
        if (!answer && errno != EAGAIN && errno != EINTR) {
            return std::nullopt;
        }
    }
}

}  // namespace companion
