#include <fcntl.h>
#include <sys/ioctl.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "ostrel/modules.h"
#include "ostrel/mutex.h"
#include "server.h"

namespace ostrel {
namespace {

using modules::Deadline;
using modules::Health;

constexpr std::chrono::seconds kAnswerBound{1};
constexpr std::size_t kWord = sizeof(std::uint32_t);
constexpr std::size_t kLargestArgument = 1032;
constexpr std::size_t kLargestAnswer = 52;
constexpr std::int32_t kMaxErrno = 4095;
constexpr unsigned long kNoRequest = 0;
constexpr unsigned long kSetNotified = 13;

int fail(int error) {
    errno = error;
    return -1;
}

class Redirector final : public ModuleControl {
public:
    int request(unsigned long number, void* argument) override EXCLUDES(mutex_);
    bool renewed() override EXCLUDES(mutex_);

private:
    bool ready(unsigned long number, const Deadline& deadline) REQUIRES(mutex_);
    bool isOpen() REQUIRES(mutex_);
    bool open(const Deadline& deadline) REQUIRES(mutex_);
    int issue(unsigned long number, void* argument, const Deadline& deadline) REQUIRES(mutex_);
    bool send(unsigned long number, const RequestSizes& sizes, const void* argument,
              const Deadline& deadline) REQUIRES(mutex_);
    std::optional<std::int32_t> receive(const RequestSizes& sizes, void* argument,
                                        const Deadline& deadline) REQUIRES(mutex_);
    void drop(int error, const char* reason) REQUIRES(mutex_);

    Mutex mutex_;
    Fd kernel_ GUARDED_BY(mutex_);
    Fd server_ GUARDED_BY(mutex_);
    Health health_ GUARDED_BY(mutex_){"redirector module"};
    std::optional<std::uint32_t> notified_ GUARDED_BY(mutex_);  // by the last such request
    bool renewed_ GUARDED_BY(mutex_) = false;
};

int Redirector::request(unsigned long number, void* argument) {
    const std::optional<RequestSizes> sizes = requestSizes(number);
    if (!sizes.has_value()) {
        return fail(EINVAL);
    }
    if (argument == nullptr && sizes->argument + sizes->answer > 0) {
        return fail(EFAULT);
    }
    const MutexLock lock(mutex_);
    const Deadline deadline(kAnswerBound);
    const bool reached = ready(number, deadline);
    if (number == kSetNotified) {
        // Kept also when there is no server: one that comes later is told.
        std::memcpy(&notified_.emplace(), argument, kWord);
    }
    return reached ? issue(number, argument, deadline) : -1;
}

bool Redirector::renewed() {
    const MutexLock lock(mutex_);
    if (notified_.has_value()) {
        static_cast<void>(ready(kNoRequest, Deadline(kAnswerBound)));
    }
    return std::exchange(renewed_, false);
}

// Makes the connection ready for request `number`. A new connection may lead to another server, so
// that is first told whom to notify.
bool Redirector::ready(unsigned long number, const Deadline& deadline) {
    if (isOpen()) {
        return true;
    }
    if (!open(deadline)) {
        return false;
    }
    if (!notified_.has_value()) {
        return true;
    }
    if (number != kSetNotified) {
        issue(kSetNotified, &*notified_, deadline);
        if (!kernel_.valid() && !server_.valid()) {
            return false;
        }
    }
    renewed_ = true;
    return true;
}

// What can be read before a request is sent is the end of the connection, or a late answer to an
// earlier request. Neither must be taken for the next answer.
bool Redirector::isOpen() {
    char byte = 0;
    if (server_.valid() && (recv(server_.get(), &byte, 1, MSG_DONTWAIT | MSG_PEEK) >= 0 ||
                            (errno != EAGAIN && errno != EWOULDBLOCK))) {
        server_.reset();
    }
    return kernel_.valid() || server_.valid();
}

bool Redirector::open(const Deadline& deadline) {
    kernel_.reset(::open(kRedirectorPath, O_RDWR | O_CLOEXEC));
    if (kernel_.valid() || errno != ENOENT) {
        return kernel_.valid();
    }
    if (health_.resting()) {
        errno = EIO;
        return false;
    }
    server_ = modules::connectServer(modules::serverDirectory() + "/redirector", deadline);
    if (server_.valid()) {
        return true;
    }
    const int error = errno;
    if (error == EIO) {
        health_.silent();
    } else {
        health_.trouble(std::strerror(error));
    }
    errno = error;
    return false;
}

int Redirector::issue(unsigned long number, void* argument, const Deadline& deadline) {
    if (kernel_.valid()) {
        return ioctl(kernel_.get(), number, argument) < 0 ? errno : 0;
    }
    const RequestSizes sizes = *requestSizes(number);
    if (!send(number, sizes, argument, deadline)) {
        return fail(EIO);
    }
    const std::optional<std::int32_t> result = receive(sizes, argument, deadline);
    if (!result.has_value()) {
        return fail(EIO);
    }
    health_.good();
    return -*result;
}

bool Redirector::send(unsigned long number, const RequestSizes& sizes, const void* argument,
                      const Deadline& deadline) {
    std::array<std::uint8_t, kWord + kLargestArgument> datagram;
    const std::uint32_t word = static_cast<std::uint32_t>(number);
    std::memcpy(datagram.data(), &word, kWord);
    if (sizes.argument > 0) {
        std::memcpy(datagram.data() + kWord, argument, sizes.argument);
    }
    ssize_t sent = 0;
    do {
        deadline.apply(server_);
        sent = ::send(server_.get(), datagram.data(), kWord + sizes.argument, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    if (sent < 0) {
        drop(errno, std::strerror(errno));
    }
    return sent >= 0;
}

// The result, 0 or minus errno. Nothing when the server gave no usable answer.
std::optional<std::int32_t> Redirector::receive(const RequestSizes& sizes, void* argument,
                                                const Deadline& deadline) {
    std::array<std::uint8_t, kWord + kLargestAnswer> answer;
    ssize_t length = 0;
    do {
        deadline.apply(server_);
        length = recv(server_.get(), answer.data(), answer.size(), MSG_TRUNC);
    } while (length < 0 && errno == EINTR);
    if (length <= 0) {
        drop(length < 0 ? errno : 0, "the server ended the connection");
        return std::nullopt;
    }
    const std::size_t size = static_cast<std::size_t>(length);
    std::int32_t result = 0;
    if (size >= kWord) {
        std::memcpy(&result, answer.data(), kWord);
    }
    const bool whole = size == kWord + sizes.answer || (size == kWord && result < 0);
    if (!whole || result > 0 || result < -kMaxErrno) {
        drop(0, "an answer that makes no sense");
        return std::nullopt;
    }
    if (result == 0 && sizes.answer > 0) {
        std::memcpy(argument, answer.data() + kWord, sizes.answer);
    }
    return result;
}

// Closes the connection: an answer would come too late now.
void Redirector::drop(int error, const char* reason) {
    server_.reset();
    if (error == EAGAIN || error == EWOULDBLOCK) {
        health_.silent();
    } else {
        health_.trouble(reason);
    }
}

}  // namespace

std::unique_ptr<ModuleControl> openRedirector() {
    return std::make_unique<Redirector>();
}

}  // namespace ostrel
