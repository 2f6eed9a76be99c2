#include "portald/attempts.h"

#include "ostrel/clock.h"

namespace portald {
namespace {

constexpr std::int64_t kMinute = 60;
constexpr std::int64_t kRemembered = 120;  // seconds

}  // namespace

int Attempts::count(const std::string& mac) {
    const std::int64_t now = ostrel::monotonicSeconds();
    Entry& entry = entryOf(mac);
    if (entry.attempts == 0 || now - entry.since >= kMinute) {
        entry.since = now;
        entry.attempts = 0;
    }
    if (entry.attempts >= kPerMinute) {
        return static_cast<int>(entry.since + kMinute - now);
    }
    ++entry.attempts;
    return 0;
}

void Attempts::refused(const std::string& mac) {
    entryOf(mac).refusedAt = ostrel::monotonicSeconds();
}

void Attempts::succeeded(const std::string& mac) {
    entryOf(mac).refusedAt = -1;
}

bool Attempts::wasRefused(const std::string& mac) const {
    const auto found = places_.find(mac);
    return found != places_.end() && found->second->refusedAt >= 0 &&
           ostrel::monotonicSeconds() - found->second->refusedAt <= kRemembered;
}

Attempts::Entry& Attempts::entryOf(const std::string& mac) {
    const auto found = places_.find(mac);
    if (found != places_.end()) {
        entries_.splice(entries_.begin(), entries_, found->second);
        return *found->second;
    }
    if (entries_.size() >= kMostStations) {
        places_.erase(entries_.back().mac);
        entries_.pop_back();
    }
    entries_.emplace_front();
    entries_.front().mac = mac;
    places_[mac] = entries_.begin();
    return entries_.front();
}

}  // namespace portald
