#pragma once

// The one thread that runs Sharing, and the queue through which the bus and the broker reach it.
//
// Threads: post() and stop() from any; run() is the thread.

#include <chrono>
#include <deque>
#include <functional>

#include "apbd/sharing.h"
#include "ostrel/mutex.h"

namespace apbd {

class Loop {
public:
    using Task = std::function<void(Sharing&)>;

    void post(Task task) EXCLUDES(mutex_);
    // Runs tasks in their order and ticks once a second, until stop(). An exception out of a task
    // is reported and ends that task alone.
    void run(Sharing& sharing) EXCLUDES(mutex_);
    // Makes run() return when all waiting tasks are done and all changes have come round, after
    // `patience` at the latest. `last` is done last.
    void stop(Task last, std::chrono::milliseconds patience) EXCLUDES(mutex_);

private:
    // Waits for tasks or for the next tick.
    void take(std::deque<Task>& tasks, bool soon) EXCLUDES(mutex_);
    bool isOver(const Sharing& sharing) EXCLUDES(mutex_);
    Task last() EXCLUDES(mutex_);

    ostrel::Mutex mutex_;
    ostrel::CondVar changed_;
    std::deque<Task> tasks_ GUARDED_BY(mutex_);
    Task last_ GUARDED_BY(mutex_);  // null before stop()
    std::chrono::steady_clock::time_point deadline_ GUARDED_BY(mutex_);
};

}  // namespace apbd
