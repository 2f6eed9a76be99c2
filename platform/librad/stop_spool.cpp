#include "stop_spool.h"

#include <algorithm>

#include "event_loop.h"

namespace ostrel::radius {
namespace {

constexpr std::int64_t kPause = 30'000'000;  // between two attempts at a silent server
constexpr unsigned int kPatience = 10;  // transmissions of one Stop before others get their turn

}  // namespace

bool StopSpool::append(MessagePtr msg, std::int64_t happenedAt, std::int64_t now) {
    const bool full = entries_.size() >= kCapacity;
    if (full) {
        // The first may be under way, then the next is the oldest that can go.
        entries_.erase(std::next(entries_.begin(), attempting_ ? 1 : 0));
    }
    if (entries_.empty()) {
        nextAttempt_ = now + kPause;
    }
    std::string station = textOf(*msg, LIBRAD_RADIUS_ATTR_CALLING_STATION_ID);
    entries_.push_back({std::move(msg), std::move(station), happenedAt, 0});
    return !full;
}

bool StopSpool::holds(const std::string& station) const {
    return std::any_of(entries_.begin(), entries_.end(),
                       [&](const Entry& entry) { return entry.station == station; });
}

std::int64_t StopSpool::nextAttempt() const {
    return entries_.empty() || attempting_ ? EventLoop::kNever : nextAttempt_;
}

RequestPtr StopSpool::beginAttempt() {
    attempting_ = true;
    auto request = std::make_shared<Request>();
    request->msg = std::move(entries_.front().msg);
    request->purpose = Purpose::spooledStop;
    request->happenedAt = entries_.front().happenedAt;
    return request;
}

void StopSpool::answered(std::int64_t now) {
    attempting_ = false;
    entries_.pop_front();
    nextAttempt_ = now;
}

void StopSpool::ignored(MessagePtr msg, unsigned int tries, std::int64_t now) {
    attempting_ = false;
    nextAttempt_ = now + kPause;
    Entry& entry = entries_.front();
    entry.msg = std::move(msg);
    entry.ignored += tries;
    if (entry.ignored >= kPatience) {
        entry.ignored = 0;
        moveStationToEnd(entry.station);
    }
}

void StopSpool::moveStationToEnd(const std::string& station) {
    std::list<Entry> moved;
    for (auto entry = entries_.begin(); entry != entries_.end();) {
        const auto next = std::next(entry);
        if (entry->station == station) {
            moved.splice(moved.end(), entries_, entry);
        }
        entry = next;
    }
    entries_.splice(entries_.end(), moved);
}

void StopSpool::hurry(std::int64_t now) {
    nextAttempt_ = std::min(nextAttempt_, now);
}

librad_radius_spool_info StopSpool::info(std::int64_t now) const {
    std::int64_t oldest = now;
    for (const Entry& entry : entries_) {
        oldest = std::min(oldest, entry.happenedAt);
    }
    return {entries_.size(), (now - oldest) / 1000000};
}

void StopSpool::reportSize(const std::string& server, std::int64_t now) const {
    const librad_radius_spool_info owed = info(now);
    report(LogLevel::warning, "RADIUS: %zu accounting stops are owed to %s, the oldest for %lld s",
           owed.count, server.c_str(), static_cast<long long>(owed.oldestSeconds));
}

}  // namespace ostrel::radius
