#pragma once

// The one event loop of the process. It tells a source that its socket is readable or that its
// deadline has passed.
//
// Threads: every function from any thread. Sources are called one at a time on the thread that runs
// the loop, without the loop's lock. No other lock of the library is taken while that is held.

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "ostrel/mutex.h"
#include "ostrel/runtime.h"

namespace ostrel::radius {

class EventSource {
public:
    virtual ~EventSource() = default;
    // The descriptor became readable, but may not be any more: reading must not block.
    virtual void onReadable(int fd) = 0;
    // The deadline has passed, and is removed.
    virtual void onDeadline() = 0;
};

class EventLoop {
public:
    // Never destroyed, as threads may still be in it when the process ends.
    static EventLoop& instance();

    // False when the system gave no descriptors for the loop; nothing can be watched then.
    [[nodiscard]] bool valid() const { return epoll_.valid() && wake_.valid(); }

    // Has `source` called when `fd` becomes readable. The descriptor stays the source's and is
    // closed after detach(). False with errno set when the system has no room.
    [[nodiscard]] bool watch(int fd, std::shared_ptr<EventSource> source) EXCLUDES(mutex_);
    // Sets, replaces or (kNever) removes the source's one deadline, monotonic microseconds.
    void setDeadline(const std::shared_ptr<EventSource>& source, std::int64_t deadline)
        EXCLUDES(mutex_);
    // Forgets the source. It waits for a call of the source that is running, unless it is called
    // from there.
    void detach(const EventSource* source) EXCLUDES(mutex_);

    void run() EXCLUDES(mutex_);
    void stop() EXCLUDES(mutex_);
    void step() EXCLUDES(mutex_);

    static constexpr std::int64_t kNever = INT64_MAX;

private:
    struct Timer {
        std::shared_ptr<EventSource> source;
        std::int64_t deadline;
    };

    EventLoop();
    // Ends the wait that is under way.
    void wake();
    // Makes this thread the loop's until leave(). False when the loop runs on another.
    bool enter() EXCLUDES(mutex_);
    void leave() EXCLUDES(mutex_);
    // Waits up to `timeoutMs` (-1: for ever), then handles what came. True when there was anything.
    bool pass(int timeoutMs) EXCLUDES(mutex_);
    int timeoutMs() EXCLUDES(mutex_);
    void handleReadable(int fd) EXCLUDES(mutex_);
    bool handleDeadlines() EXCLUDES(mutex_);
    void beginCall(const EventSource* source) REQUIRES(mutex_) { called_ = source; }
    void endCall() EXCLUDES(mutex_);

    Fd epoll_;
    Fd wake_;
    Mutex mutex_;
    CondVar callEnded_;
    std::map<int, std::shared_ptr<EventSource>> watched_ GUARDED_BY(mutex_);
    std::map<const EventSource*, Timer> timers_ GUARDED_BY(mutex_);
    const EventSource* called_ GUARDED_BY(mutex_) = nullptr;
    pid_t thread_ GUARDED_BY(mutex_) = 0;  // the loop's, 0 while none
    bool stopping_ GUARDED_BY(mutex_) = false;
    // The deadline that the loop waits for, monotonic microseconds. An earlier one must wake it.
    std::int64_t waitsUntil_ GUARDED_BY(mutex_) = 0;
};

}  // namespace ostrel::radius
