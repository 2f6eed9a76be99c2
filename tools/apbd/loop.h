#pragma once

// The one thread that runs Sharing, and the queue through which the bus and the broker reach it.
//
// Threads: post() and stop() from any; run() is the thread.

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
    // Has run() do `last` instead of whatever waits, and return.
    void stop(Task last) EXCLUDES(mutex_);

private:
    // Waits for tasks or for the next tick; false when it is over.
    bool take(std::deque<Task>& tasks, bool soon) EXCLUDES(mutex_);

    ostrel::Mutex mutex_;
    ostrel::CondVar changed_;
    std::deque<Task> tasks_ GUARDED_BY(mutex_);
    bool stopped_ GUARDED_BY(mutex_) = false;
};

}  // namespace apbd
