#include "apbd/loop.h"

#include <chrono>
#include <exception>

#include "ostrel/runtime.h"

namespace apbd {
namespace {

using Steady = std::chrono::steady_clock;

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
    tasks_.push_back(std::move(task));
    changed_.notifyOne();
}

void Loop::stop(Task last, std::chrono::milliseconds patience) {
    const ostrel::MutexLock lock(mutex_);
    last_ = std::move(last);
    deadline_ = Steady::now() + patience;
    changed_.notifyOne();
}

void Loop::run(Sharing& sharing) {
    Steady::time_point nextTick = Steady::now() + kTick;
    std::deque<Task> tasks;
    while (!isOver(sharing)) {
        take(tasks, sharing.hasUnsent());
        for (const Task& task : tasks) {
            guarded(task, sharing);
        }
        tasks.clear();
        if (sharing.hasUnsent() || Steady::now() >= nextTick) {
            guarded([](Sharing& one) { one.tick(); }, sharing);
            nextTick = Steady::now() + kTick;
        }
    }
    guarded(last(), sharing);
}

void Loop::take(std::deque<Task>& tasks, bool soon) {
    const ostrel::MutexLock lock(mutex_);
    if (tasks_.empty()) {
        changed_.waitFor(mutex_, soon || last_ ? kSoon : kTick);
    }
    tasks.swap(tasks_);
}

bool Loop::isOver(const Sharing& sharing) {
    const ostrel::MutexLock lock(mutex_);
    const bool idle = tasks_.empty() && !sharing.hasUnconfirmed();
    return last_ && (idle || Steady::now() >= deadline_);
}

Loop::Task Loop::last() {
    const ostrel::MutexLock lock(mutex_);
    return last_;
}

}  // namespace apbd
