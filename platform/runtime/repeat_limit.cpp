#include "ostrel/repeat_limit.h"

#include <algorithm>

#include "ostrel/clock.h"

namespace ostrel {

bool RepeatLimit::admits(const char* format) {
    const MutexLock lock(mutex_);
    const std::int64_t now = monotonicSeconds();
    const auto [place, isNew] = spans_.try_emplace(format, Span{now + kSpanSeconds, 0});
    nextEnd_ = isNew ? std::min(nextEnd_, now + kSpanSeconds) : nextEnd_;
    return ++place->second.seen <= kMost;
}

std::vector<RepeatLimit::LeftOut> RepeatLimit::takeLeftOut() {
    std::vector<LeftOut> leftOut;
    const MutexLock lock(mutex_);
    const std::int64_t now = monotonicSeconds();
    if (now < nextEnd_) {
        return leftOut;
    }
    nextEnd_ = INT64_MAX;
    for (auto span = spans_.begin(); span != spans_.end();) {
        if (span->second.end > now) {
            nextEnd_ = std::min(nextEnd_, span->second.end);
            ++span;
            continue;
        }
        if (span->second.seen > kMost) {
            leftOut.push_back({span->first, span->second.seen - kMost});
        }
        span = spans_.erase(span);
    }
    return leftOut;
}

void RepeatLimit::clear() {
    const MutexLock lock(mutex_);
    spans_.clear();
    nextEnd_ = INT64_MAX;
}

RepeatLimit& repeatLimit() {
    // Never destroyed: threads report while the process ends.
    static RepeatLimit* const limit = new RepeatLimit;
    return *limit;
}

}  // namespace ostrel
