#pragma once

// The event loop of a companion: one thread that waits for descriptors, deadlines and the signals
// that end the process, and calls what belongs to them.
//
// Threads: none of its own. All functions are called on the thread that runs the loop, or before it
// runs. Handlers may add and remove anything, themselves too.

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "ostrel/runtime.h"

namespace companion {

class EventLoop {
public:
    using Clock = std::chrono::steady_clock;
    using Handler = std::function<void()>;
    using TimerId = std::uint64_t;

    // Blocks SIGINT and SIGTERM for this thread and those that it makes, so that the loop receives
    // them; ignores SIGPIPE. Throws std::system_error when the system has no descriptors.
    EventLoop();

    // Calls `handler` whenever `fd` is readable (`readable`), or writable (`writable`). One handler
    // of each kind a descriptor; a new one replaces it, a null one ends it. The descriptor stays
    // the caller's; forget() comes before its closing. Throws std::system_error when the system
    // refuses.
    void whenReadable(int fd, Handler handler);
    void whenWritable(int fd, Handler handler);
    void forget(int fd);

    // Calls `handler` once after `delay`, or every `period` from now on, until cancel().
    TimerId after(std::chrono::milliseconds delay, Handler handler);
    TimerId every(std::chrono::milliseconds period, Handler handler);
    // Cancelling a timer that has ended is nothing.
    void cancel(TimerId timer);

    // Runs until SIGINT, SIGTERM or stop(). An exception out of a handler is reported and ends that
    // call alone.
    void run();
    void stop() { stopping_ = true; }

private:
    struct Watch {
        Handler readable;
        Handler writable;
    };
    struct Timer {
        TimerId id;
        std::chrono::milliseconds period;  // zero: once
        Handler handler;
    };

    void watch(int fd);
    TimerId add(std::chrono::milliseconds delay, std::chrono::milliseconds period, Handler handler);
    int waitMs() const;
    void handleDeadlines();
    void handleEvent(int fd, std::uint32_t events);

    ostrel::Fd epoll_;
    ostrel::Fd signals_;
    std::map<int, Watch> watches_;
    std::multimap<Clock::time_point, Timer> timers_;
    TimerId lastTimer_ = 0;
    bool stopping_ = false;
};

}  // namespace companion
