#include "apbd/loop.h"

#include <chrono>
#include <exception>

#include "ostrel/runtime.h"

namespace apbd {
namespace {

constexpr std::chrono::milliseconds kTick{1000};
constexpr std::chrono::milliseconds kSoon{20};

void guarded(const Loop::Task& task, Sharing& sharing) {
    try {
        task(sharing);
    } catch (const std::exception& problem) {
        ostrel::report(ostrel::LogLevel::error, "one message is lost: %s", problem.what());
    }
}

}  // namespace

void Loop::post(Task task) {
    const ostrel::MutexLock lock(mutex_);
    if (stopped_) {
        return;
    }
    tasks_.push_back(std::move(task));
    changed_.notifyOne();
}

void Loop::stop(Task last) {
    const ostrel::MutexLock lock(mutex_);
    stopped_ = true;
    tasks_.clear();
    tasks_.push_back(std::move(last));
    changed_.notifyOne();
}

void Loop::run(Sharing& sharing) {
    using Steady = std::chrono::steady_clock;
    Steady::time_point nextTick = Steady::now() + kTick;
    std::deque<Task> tasks;
    while (take(tasks, sharing.hasUnsent())) {
        for (const Task& task : tasks) {
            guarded(task, sharing);
        }
        tasks.clear();
        if (sharing.hasUnsent() || Steady::now() >= nextTick) {
            guarded([](Sharing& one) { one.tick(); }, sharing);
            nextTick = Steady::now() + kTick;
        }
    }
}

bool Loop::take(std::deque<Task>& tasks, bool soon) {
    const ostrel::MutexLock lock(mutex_);
    if (tasks_.empty() && !stopped_) {
        changed_.waitFor(mutex_, soon ? kSoon : kTick);
    }
    tasks.swap(tasks_);
    return !tasks.empty() || !stopped_;
}

}  // namespace apbd
