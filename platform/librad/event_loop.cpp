#include "event_loop.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>

#include "ostrel/clock.h"
#include "ostrel/librad.h"

namespace ostrel::radius {
namespace {

pid_t currentThread() {
    return static_cast<pid_t>(syscall(SYS_gettid));
}

bool addToEpoll(int epoll, int fd) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = fd;
    return epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &event) == 0;
}

}  // namespace

EventLoop& EventLoop::instance() {
    static EventLoop* const loop = new EventLoop;
    return *loop;
}

EventLoop::EventLoop() : epoll_(epoll_create1(EPOLL_CLOEXEC)) {
    wake_.reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!valid() || !addToEpoll(epoll_.get(), wake_.get())) {
        report(LogLevel::error, "RADIUS: no event loop to be had: no descriptors left");
        epoll_.reset();
    }
}

bool EventLoop::watch(int fd, std::shared_ptr<EventSource> source) {
    MutexLock lock(mutex_);
    if (!valid() || !addToEpoll(epoll_.get(), fd)) {
        return false;
    }
    watched_[fd] = std::move(source);
    return true;
}

void EventLoop::setDeadline(const std::shared_ptr<EventSource>& source, std::int64_t deadline) {
    MutexLock lock(mutex_);
    if (deadline == kNever) {
        timers_.erase(source.get());
        return;
    }
    timers_[source.get()] = {source, deadline};
    if (deadline < waitsUntil_) {
        waitsUntil_ = deadline;
        wake();
    }
}

void EventLoop::detach(const EventSource* source) {
    // Freed after the lock, should the loop hold the last references.
    std::vector<std::shared_ptr<EventSource>> released;
    MutexLock lock(mutex_);
    for (auto entry = watched_.begin(); entry != watched_.end();) {
        if (entry->second.get() == source) {
            epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, entry->first, nullptr);
            released.push_back(std::move(entry->second));
            entry = watched_.erase(entry);
        } else {
            ++entry;
        }
    }
    if (const auto timer = timers_.find(source); timer != timers_.end()) {
        released.push_back(std::move(timer->second.source));
        timers_.erase(timer);
    }
    while (called_ == source && thread_ != currentThread()) {
        callEnded_.wait(mutex_);
    }
}

void EventLoop::run() {
    if (!valid() || !enter()) {
        return;
    }
    for (;;) {
        {
            MutexLock lock(mutex_);
            if (stopping_) {
                stopping_ = false;
                break;
            }
        }
        pass(timeoutMs());
    }
    leave();
}

void EventLoop::stop() {
    {
        MutexLock lock(mutex_);
        stopping_ = true;
    }
    wake();
}

void EventLoop::step() {
    if (valid() && enter()) {
        while (pass(0)) {
        }
        leave();
    }
}

void EventLoop::wake() {
    const std::uint64_t one = 1;
    // It fails only when it is signalled already.
    [[maybe_unused]] const ssize_t written = write(wake_.get(), &one, sizeof one);
}

bool EventLoop::enter() {
    MutexLock lock(mutex_);
    if (thread_ != 0) {
        return false;
    }
    thread_ = currentThread();
    return true;
}

void EventLoop::leave() {
    MutexLock lock(mutex_);
    thread_ = 0;
    waitsUntil_ = 0;
}

int EventLoop::timeoutMs() {
    MutexLock lock(mutex_);
    waitsUntil_ = kNever;
    for (const auto& [source, timer] : timers_) {
        waitsUntil_ = std::min(waitsUntil_, timer.deadline);
    }
    if (waitsUntil_ == kNever) {
        return -1;
    }
    // Rounded up, so that the deadline has passed when the wait ends.
    const std::int64_t left = waitsUntil_ - clock().monotonicMicroseconds();
    return static_cast<int>(std::clamp<std::int64_t>((left + 999) / 1000, 0, INT_MAX));
}

bool EventLoop::pass(int timeoutMs) {
    std::array<epoll_event, 32> events{};
    const int count =
        epoll_wait(epoll_.get(), events.data(), static_cast<int>(events.size()), timeoutMs);
    bool handled = false;
    for (int i = 0; i < count; ++i) {
        const int fd = events[static_cast<std::size_t>(i)].data.fd;
        if (fd == wake_.get()) {
            std::uint64_t drained = 0;
            [[maybe_unused]] const ssize_t got = read(wake_.get(), &drained, sizeof drained);
        } else {
            handleReadable(fd);
            handled = true;
        }
    }
    return handleDeadlines() || handled;
}

void EventLoop::handleReadable(int fd) {
    std::shared_ptr<EventSource> source;
    {
        MutexLock lock(mutex_);
        const auto entry = watched_.find(fd);
        if (entry == watched_.end()) {
            return;
        }
        source = entry->second;
        beginCall(source.get());
    }
    source->onReadable(fd);
    endCall();
}

bool EventLoop::handleDeadlines() {
    const std::int64_t now = clock().monotonicMicroseconds();
    bool handled = false;
    for (;;) {
        std::shared_ptr<EventSource> source;
        {
            MutexLock lock(mutex_);
            const auto due = std::find_if(timers_.begin(), timers_.end(), [now](const auto& timer) {
                return timer.second.deadline <= now;
            });
            if (due == timers_.end()) {
                return handled;
            }
            source = std::move(due->second.source);
            timers_.erase(due);
            beginCall(source.get());
        }
        source->onDeadline();
        endCall();
        handled = true;
    }
}

void EventLoop::endCall() {
    {
        MutexLock lock(mutex_);
        called_ = nullptr;
    }
    callEnded_.notifyAll();
}

}  // namespace ostrel::radius

using ostrel::radius::EventLoop;

void librad_eloop_run() {
    EventLoop::instance().run();
}

void librad_eloop_stop() {
    EventLoop::instance().stop();
}

void librad_eloop_step() {
    EventLoop::instance().step();
}
