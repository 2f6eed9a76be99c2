#pragma once

// The frames that wait for process(), in order of arrival. The limit on each connection's unhandled
// input limits them too.
//
// Threads: any.

#include <chrono>
#include <deque>

#include "connection.h"
#include "ostrel/mutex.h"

namespace ostrel::bus {

class Inbox {
public:
    void push(Arrival arrival) EXCLUDES(mutex_);

    enum class Take { arrival, timedOut, stopped };
    // Waits for the next frame. Gives nothing once stopped.
    [[nodiscard]] Take take(Arrival& arrival) EXCLUDES(mutex_);
    // The same, until `deadline` at the latest.
    [[nodiscard]] Take takeBefore(std::chrono::steady_clock::time_point deadline, Arrival& arrival)
        EXCLUDES(mutex_);

    // Puts frames back to where they were, in front of those that came since.
    void putBack(std::deque<Arrival> arrivals) EXCLUDES(mutex_);

    // Ends every take(), now and from now on.
    void stop() EXCLUDES(mutex_);

private:
    Take takeNow(Arrival& arrival) REQUIRES(mutex_);

    Mutex mutex_;
    CondVar changed_;
    std::deque<Arrival> waiting_ GUARDED_BY(mutex_);
    bool stopped_ GUARDED_BY(mutex_) = false;
};

}  // namespace ostrel::bus
