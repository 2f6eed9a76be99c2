#pragma once

// Questions for the statistics that can't wait for the regular one: the first page of a station
// waits for its first record.
//
// Threads: want() from any thread; awaitNext() on the one thread that asks.

#include <cstdint>

#include "core/mutex.h"

namespace vesta {

class EarlyQuestions {
public:
    // The least time from one early question to the next, microseconds: ten a second, however many
    // stations come.
    static constexpr std::int64_t kApart = 100000;

    // Has a question asked as soon as that is allowed.
    void want() EXCLUDES(mutex_);
    // Waits. True when a question is to be asked now, false when the monotonic time `end`
    // (microseconds) has come.
    [[nodiscard]] bool awaitNext(std::int64_t end) EXCLUDES(mutex_);

private:
    Mutex mutex_;
    CondVar changed_;
    bool wanted_ GUARDED_BY(mutex_) = false;
    std::int64_t allowedFrom_ GUARDED_BY(mutex_) = 0;  // monotonic microseconds
};

}  // namespace vesta
