#include "inbox.h"

#include <utility>

namespace ostrel::bus {

void Inbox::push(Arrival arrival) {
    {
        MutexLock lock(mutex_);
        waiting_.push_back(std::move(arrival));
    }
    changed_.notifyOne();
}

Inbox::Take Inbox::take(Arrival& arrival) {
    MutexLock lock(mutex_);
    while (!stopped_ && waiting_.empty()) {
        changed_.wait(mutex_);
    }
    return takeNow(arrival);
}

Inbox::Take Inbox::takeBefore(std::chrono::steady_clock::time_point deadline, Arrival& arrival) {
    MutexLock lock(mutex_);
    while (!stopped_ && waiting_.empty()) {
        const auto left = deadline - std::chrono::steady_clock::now();
        if (left <= left.zero()) {
            return Take::timedOut;
        }
        changed_.waitFor(mutex_, std::chrono::ceil<std::chrono::microseconds>(left));
    }
    return takeNow(arrival);
}

void Inbox::putBack(std::deque<Arrival> arrivals) {
    MutexLock lock(mutex_);
    while (!arrivals.empty()) {
        waiting_.push_front(std::move(arrivals.back()));
        arrivals.pop_back();
    }
    changed_.notifyAll();
}

void Inbox::stop() {
    MutexLock lock(mutex_);
    stopped_ = true;
    changed_.notifyAll();
}

Inbox::Take Inbox::takeNow(Arrival& arrival) {
    if (stopped_) {
        return Take::stopped;
    }
    arrival = std::move(waiting_.front());
    waiting_.pop_front();
    return Take::arrival;
}

}  // namespace ostrel::bus
