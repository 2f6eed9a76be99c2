#include "server.h"

#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include "ostrel/addresses.h"
#include "ostrel/clock.h"

namespace ostrel::modules {
namespace {

constexpr std::int64_t kSecond = 1000000;
constexpr std::int64_t kLongestRest = 8 * kSecond;

}  // namespace

std::string serverDirectory() {
    return runtimeDirectory() + "/modules";
}

Deadline::Deadline(std::chrono::microseconds bound)
    : end_(clock().monotonicMicroseconds() + bound.count()) {}

void Deadline::apply(const Fd& fd) const {
    // Zero would mean to wait forever.
    const std::int64_t left = std::max<std::int64_t>(end_ - clock().monotonicMicroseconds(), 1);
    timeval timeout{};
    timeout.tv_sec = static_cast<decltype(timeout.tv_sec)>(left / kSecond);
    timeout.tv_usec = static_cast<decltype(timeout.tv_usec)>(left % kSecond);
    setsockopt(fd.get(), SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
    setsockopt(fd.get(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
}

Fd connectServer(const std::string& path, const Deadline& deadline) {
    sockaddr_un address;
    if (!unixAddress(path, address)) {
        return Fd();
    }
    Fd fd(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    if (!fd.valid()) {
        return fd;
    }
    int result = 0;
    do {
        deadline.apply(fd);  // a full backlog makes connect() wait
        result = connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    } while (result < 0 && errno == EINTR);
    if (result < 0) {
        if (errno == ECONNREFUSED || errno == ENOTDIR) {
            errno = ENOENT;
        } else if (errno == EAGAIN) {
            errno = EIO;
        }
        fd.reset();
    }
    return fd;
}

bool Health::resting() const {
    return clock().monotonicMicroseconds() < until_;
}

void Health::silent() {
    rest_ = std::clamp(2 * rest_, kSecond, kLongestRest);
    until_ = clock().monotonicMicroseconds() + rest_;
    trouble("no answer in time");
}

void Health::trouble(const char* reason) {
    if (!troubled_) {
        troubled_ = true;
        report(LogLevel::warning, "%s: %s; it is told everything when it is back", what_, reason);
    }
}

void Health::good() {
    rest_ = 0;
    until_ = std::numeric_limits<std::int64_t>::min();
    if (troubled_) {
        troubled_ = false;
        report(LogLevel::warning, "%s: in order again", what_);
    }
}

}  // namespace ostrel::modules
