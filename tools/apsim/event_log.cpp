#include "apsim/event_log.h"

#include <tuple>
#include <utility>

namespace apsim {

namespace {

using Clock = std::chrono::steady_clock;

std::chrono::microseconds remaining(Clock::time_point deadline) {
    return std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now());
}

}  // namespace

const char* partyName(Party party) {
    switch (party) {
        case Party::station:
            return "station";
        case Party::configuration:
            return "config";
        case Party::redirector:
            return "redirector";
        case Party::shaper:
            return "shaper";
        case Party::wifiAuth:
            return "wifi-auth";
        case Party::trap:
            return "trap";
        case Party::deauth:
            return "deauth";
        case Party::portal:
            return "portal";
        case Party::radius:
            return "radius";
    }
    return "";
}

bool operator==(const StationId& left, const StationId& right) {
    return left.mac == right.mac && left.interface == right.interface;
}

bool operator<(const StationId& left, const StationId& right) {
    return std::tie(left.mac, left.interface) < std::tie(right.mac, right.interface);
}

void EventLog::add(Event event) {
    {
        ostrel::MutexLock lock(observerMutex_);
        if (observer_) {
            observer_(event);
        }
    }
    ostrel::MutexLock lock(mutex_);
    ++count_;
    if (keep_) {
        events_.push_back(std::move(event));
    }
    added_.notifyAll();
}

void EventLog::setObserver(std::function<void(const Event&)> observer) {
    ostrel::MutexLock lock(observerMutex_);
    observer_ = std::move(observer);
}

std::size_t EventLog::size() const {
    ostrel::MutexLock lock(mutex_);
    return count_;
}

std::vector<Event> EventLog::since(std::size_t from) const {
    ostrel::MutexLock lock(mutex_);
    if (from >= events_.size()) {
        return {};
    }
    return {events_.begin() + static_cast<std::ptrdiff_t>(from), events_.end()};
}

std::optional<Event> EventLog::waitFor(const Predicate& predicate, Milliseconds timeout,
                                       std::size_t from) {
    const Clock::time_point deadline = Clock::now() + timeout;
    ostrel::MutexLock lock(mutex_);
    for (;;) {
        for (; from < events_.size(); ++from) {
            if (predicate(events_[from])) {
                return events_[from];
            }
        }
        if (remaining(deadline).count() <= 0) {
            return std::nullopt;
        }
        added_.waitFor(mutex_, remaining(deadline));
    }
}

std::optional<Event> EventLog::waitFor(Party party, const std::string& what,
                                       const StationId& station, Milliseconds timeout,
                                       std::size_t from) {
    return waitFor(
        [&](const Event& event) {
            return event.party == party && event.what == what && event.station == station;
        },
        timeout, from);
}

bool EventLog::waitUntil(const std::function<bool()>& condition, Milliseconds timeout) {
    const Clock::time_point deadline = Clock::now() + timeout;
    for (;;) {
        const std::size_t seen = size();
        if (condition()) {
            return true;
        }
        ostrel::MutexLock lock(mutex_);
        while (count_ == seen) {
            if (remaining(deadline).count() <= 0) {
                return false;
            }
            added_.waitFor(mutex_, remaining(deadline));
        }
        if (remaining(deadline).count() <= 0) {
            return false;
        }
    }
}

}  // namespace apsim
