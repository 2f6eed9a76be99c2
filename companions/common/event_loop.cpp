#include "common/event_loop.h"

#include <signal.h>
#include <sys/epoll.h>
#include <sys/signalfd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <system_error>

namespace companion {
namespace {

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

sigset_t endingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    return signals;
}

// The handler is a copy, since it may replace or remove itself.
void call(EventLoop::Handler handler) {
    if (!handler) {
        return;
    }
    try {
        handler();
    } catch (const std::exception& error) {
        ostrel::report(ostrel::LogLevel::error, "%s", error.what());
    }
}

}  // namespace

EventLoop::EventLoop() {
    signal(SIGPIPE, SIG_IGN);
    const sigset_t signals = endingSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    epoll_.reset(epoll_create1(EPOLL_CLOEXEC));
    signals_.reset(signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC));
    if (!epoll_.valid() || !signals_.valid()) {
        fail("no descriptors for the event loop");
    }
    whenReadable(signals_.get(), [this] { stop(); });
}

void EventLoop::whenReadable(int fd, Handler handler) {
    watches_[fd].readable = std::move(handler);
    watch(fd);
}

void EventLoop::whenWritable(int fd, Handler handler) {
    watches_[fd].writable = std::move(handler);
    watch(fd);
}

void EventLoop::watch(int fd) {
    const Watch& wanted = watches_[fd];
    epoll_event event{};
    event.events = (wanted.readable ? EPOLLIN : 0U) | (wanted.writable ? EPOLLOUT : 0U);
    event.data.fd = fd;
    if (event.events == 0) {
        forget(fd);
        return;
    }
    if (epoll_ctl(epoll_.get(), EPOLL_CTL_MOD, fd, &event) != 0 &&
        (errno != ENOENT || epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, fd, &event) != 0)) {
        const int error = errno;
        watches_.erase(fd);
        errno = error;
        fail("a descriptor can't be watched");
    }
}

void EventLoop::forget(int fd) {
    if (watches_.erase(fd) != 0) {
        epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, fd, nullptr);
    }
}

EventLoop::TimerId EventLoop::after(std::chrono::milliseconds delay, Handler handler) {
    return add(delay, std::chrono::milliseconds(0), std::move(handler));
}

EventLoop::TimerId EventLoop::every(std::chrono::milliseconds period, Handler handler) {
    return add(period, period, std::move(handler));
}

EventLoop::TimerId EventLoop::add(std::chrono::milliseconds delay, std::chrono::milliseconds period,
                                  Handler handler) {
    ++lastTimer_;
    timers_.emplace(Clock::now() + delay, Timer{lastTimer_, period, std::move(handler)});
    return lastTimer_;
}

void EventLoop::cancel(TimerId timer) {
    const auto found = std::find_if(timers_.begin(), timers_.end(),
                                    [timer](const auto& one) { return one.second.id == timer; });
    if (found != timers_.end()) {
        timers_.erase(found);
    }
}

int EventLoop::waitMs() const {
    if (timers_.empty()) {
        return -1;
    }
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(timers_.begin()->first - Clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, INT_MAX));
}

void EventLoop::handleDeadlines() {
    const Clock::time_point now = Clock::now();
    while (!stopping_ && !timers_.empty() && timers_.begin()->first <= now) {
        auto node = timers_.extract(timers_.begin());
        const Handler handler = node.mapped().handler;
        if (node.mapped().period.count() > 0) {
            node.key() = now + node.mapped().period;
            timers_.insert(std::move(node));
        }
        call(handler);
    }
}

void EventLoop::handleEvent(int fd, std::uint32_t events) {
    const auto found = watches_.find(fd);
    if (found != watches_.end() && (events & ~static_cast<std::uint32_t>(EPOLLOUT)) != 0) {
        call(found->second.readable);
    }
    const auto still = watches_.find(fd);
    if (still != watches_.end() && (events & (EPOLLOUT | EPOLLERR | EPOLLHUP)) != 0) {
        call(still->second.writable);
    }
}

void EventLoop::run() {
    std::array<epoll_event, 64> events{};
    while (!stopping_) {
        const int count =
            epoll_wait(epoll_.get(), events.data(), static_cast<int>(events.size()), waitMs());
        if (count < 0 && errno != EINTR) {
            fail("epoll_wait");
        }
        for (int i = 0; i < count && !stopping_; ++i) {
            handleEvent(events[static_cast<std::size_t>(i)].data.fd,
                        events[static_cast<std::size_t>(i)].events);
        }
        handleDeadlines();
    }
}

}  // namespace companion
