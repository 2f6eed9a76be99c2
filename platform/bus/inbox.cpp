#include "inbox.h"

#include <algorithm>
#include <utility>

#include "ostrel/ipc.h"

namespace ostrel::bus {
namespace {

// apbd tells its news and is asked in turn. If both waited for each other to read, neither would.
bool mayBeHandled(const Arrival& arrival) {
    return arrival.frame.sender == IPC_MODULE_APBD || arrival.from->takesAnswers();
}

// Of a peer that went without reading its answers. It may have left thousands of questions.
bool isPointless(const Arrival& arrival) {
    return arrival.frame.sender != IPC_MODULE_APBD && arrival.from->abandoned();
}

}  // namespace

void Inbox::push(Arrival arrival) {
    {
        MutexLock lock(mutex_);
        const auto lane = laneOf(arrival);
        (lane != lanes_.end() ? *lane : lanes_.emplace_back()).push_back(std::move(arrival));
    }
    changed_.notifyOne();
}

Inbox::Take Inbox::take(Arrival& arrival) {
    MutexLock lock(mutex_);
    while (!stopped_ && !takeInTurn(arrival)) {
        changed_.wait(mutex_);
    }
    return stopped_ ? Take::stopped : Take::arrival;
}

Inbox::Take Inbox::takeBefore(std::chrono::steady_clock::time_point deadline, Arrival& arrival) {
    MutexLock lock(mutex_);
    while (!stopped_ && !takeInTurn(arrival)) {
        const auto left = deadline - std::chrono::steady_clock::now();
        if (left <= left.zero()) {
            return Take::timedOut;
        }
        changed_.waitFor(mutex_, std::chrono::ceil<std::chrono::microseconds>(left));
    }
    return stopped_ ? Take::stopped : Take::arrival;
}

void Inbox::putBack(std::list<Arrival> arrivals) {
    MutexLock lock(mutex_);
    for (; !arrivals.empty(); arrivals.pop_back()) {
        const auto lane = laneOf(arrivals.back());
        (lane != lanes_.end() ? *lane : lanes_.emplace_front())
            .push_front(std::move(arrivals.back()));
    }
    changed_.notifyAll();
}

void Inbox::lookAgain() {
    // Under the lock: whoever has just found that nobody takes an answer waits already.
    MutexLock lock(mutex_);
    changed_.notifyAll();
}

void Inbox::stop() {
    MutexLock lock(mutex_);
    stopped_ = true;
    changed_.notifyAll();
}

std::list<Inbox::Lane>::iterator Inbox::laneOf(const Arrival& arrival) {
    return std::find_if(lanes_.begin(), lanes_.end(),
                        [&](const Lane& lane) { return lane.front().from == arrival.from; });
}

bool Inbox::takeInTurn(Arrival& arrival) {
    lanes_.remove_if([](const Lane& lane) { return isPointless(lane.front()); });
    const auto lane = std::find_if(lanes_.begin(), lanes_.end(),
                                   [](const Lane& each) { return mayBeHandled(each.front()); });
    if (lane == lanes_.end()) {
        return false;
    }
    arrival = std::move(lane->front());
    lane->pop_front();
    if (lane->empty()) {
        lanes_.erase(lane);
    } else {
        lanes_.splice(lanes_.end(), lanes_, lane);
    }
    return true;
}

}  // namespace ostrel::bus
