#include "statistics/early_questions.h"

#include <algorithm>
#include <chrono>

#include "ostrel/clock.h"

namespace vesta {

void EarlyQuestions::want() {
    const MutexLock lock(mutex_);
    if (!wanted_) {
        wanted_ = true;
        changed_.notifyOne();
    }
}

bool EarlyQuestions::awaitNext(std::int64_t end) {
    const MutexLock lock(mutex_);
    while (true) {
        const std::int64_t now = ostrel::clock().monotonicMicroseconds();
        if (now >= end) {
            return false;
        }
        if (wanted_ && now >= allowedFrom_) {
            wanted_ = false;
            allowedFrom_ = now + kApart;
            return true;
        }
        const std::int64_t until = wanted_ ? std::min(allowedFrom_, end) : end;
        changed_.waitFor(mutex_, std::chrono::microseconds(until - now));
    }
}

}  // namespace vesta
