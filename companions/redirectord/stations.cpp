#include "redirectord/stations.h"

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "ostrel/runtime.h"

namespace redirectord {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr const char* kStationsMap = "stations";
constexpr const char* kAdmitted = "admitted";
constexpr const char* kReceivers = "receivers";
constexpr const char* kSeen = "seen";
constexpr const char* kKnown = "known";
constexpr const char* kUp = "up";
constexpr const char* kDown = "down";

// A station may change its address, and so be announced again, this often.
constexpr seconds kAddressChange{1};
// So many are forgotten at a time: some milliseconds of work.
constexpr std::size_t kForgottenAtOnce = 500;
constexpr milliseconds kSweepPause{20};

}  // namespace

void Stations::adopt() {
    const auto read = [this](const char* set, const companion::EachElement& each) {
        const int error =
            reader_.read(companion::TableFamily::netdev, set, companion::kManyTries, each).error;
        if (error != 0) {
            throw std::system_error(error, std::generic_category(),
                                    std::string("the set ") + set + " can't be read");
        }
    };
    read(kSeen, [this](const companion::SetElement& element) {
        if (const auto key = StationKey::ofBytes(element.key)) {
            stations_[*key];
        }
    });
    read(kStationsMap, [this](const companion::SetElement& element) {
        if (const auto key = StationKey::ofBytes(element.key)) {
            stations_[*key].access = static_cast<Access>(element.number);
        }
    });
    read(kKnown, [this](const companion::SetElement& element) {
        const auto key = StationKey::ofBytes(element.key);
        if (key && element.key.size() == StationKey::kBytes + sizeof(in_addr)) {
            std::memcpy(&stations_[*key].ip, element.key.data() + StationKey::kBytes,
                        sizeof(in_addr));
        }
    });
}

std::string Stations::known(const StationKey& key, in_addr ip) {
    return key.bytes().append(reinterpret_cast<const char*>(&ip), sizeof ip);
}

void Stations::appendNew(const StationKey& key, const Station& station) {
    const std::string bytes = key.bytes();
    for (const char* const set : {kSeen, kUp, kDown}) {
        elements_.add(set, bytes);
    }
    appendChange(key, Station(), station);
}

void Stations::appendChange(const StationKey& key, const Station& before, const Station& after) {
    const std::string bytes = key.bytes();
    const auto changeAddress = [&](const char* set, in_addr was, in_addr is) {
        if (was.s_addr != is.s_addr && was.s_addr != 0) {
            elements_.remove(set, known(key, was));
        }
        if (was.s_addr != is.s_addr && is.s_addr != 0) {
            elements_.add(set, known(key, is));
        }
    };
    const bool passed = before.access == Access::pass;
    const bool passes = after.access == Access::pass;
    changeAddress(kKnown, before.ip, after.ip);
    changeAddress(kAdmitted, passed ? before.ip : in_addr{}, passes ? after.ip : in_addr{});
    if (before.access == after.access) {
        return;
    }
    if (passed) {
        elements_.remove(kReceivers, bytes);
    }
    if (before.access != Access::captive) {
        elements_.remove(kStationsMap, bytes);
    }
    if (after.access != Access::captive) {
        elements_.addMark(kStationsMap, bytes, static_cast<std::uint32_t>(after.access));
    }
    if (passes) {
        elements_.add(kReceivers, bytes);
    }
}

void Stations::appendGone(const StationKey& key, const Station& station) {
    const std::string bytes = key.bytes();
    for (const char* const set : {kSeen, kUp, kDown}) {
        elements_.remove(set, bytes);
    }
    appendChange(key, station, Station());
}

int Stations::tell(const StationKey& key, Access access, in_addr ip, Clock::time_point) {
    const auto found = stations_.find(key);
    const Station before = found != stations_.end() ? found->second : Station();
    Station station = before;
    station.access = access;
    station.told = true;
    station.deadline = Clock::time_point::max();
    station.ip = station.ip.s_addr == 0 ? ip : station.ip;
    if (found != stations_.end()) {
        appendChange(key, before, station);
    } else if (stations_.size() >= kMostStations) {
        return -ENFILE;
    } else {
        appendNew(key, station);
    }
    if (const int error = elements_.run()) {
        return -error;
    }
    stations_[key] = station;
    if (before.access == Access::pass && access != Access::pass) {
        callbacks_.cut(key, station.ip);
    } else if (access == Access::pass) {
        callbacks_.spare(key, station.ip);
    }
    return 0;
}

int Stations::forget(const StationKey& key) {
    const auto found = stations_.find(key);
    if (found == stations_.end()) {
        return 0;
    }
    appendGone(key, found->second);
    if (const int error = elements_.run()) {
        return -error;
    }
    const Station gone = found->second;
    stations_.erase(found);
    afterForgetting(key, gone);
    return 0;
}

void Stations::afterForgetting(const StationKey& key, const Station& station) {
    if (station.access == Access::pass) {
        callbacks_.cut(key, station.ip);
    }
    callbacks_.forgotten(key);
}

void Stations::forgetAll(Clock::time_point now) {
    for (auto& [key, station] : stations_) {
        station.told = false;
        station.deadline = now + kTellingTime;
    }
    announceUntold_ = now + kQuietTime;
}

void Stations::daemonGone() {
    for (auto& [key, station] : stations_) {
        station.deadline = Clock::time_point::max();
    }
    announceUntold_ = Clock::time_point::max();
}

void Stations::notice(const std::vector<News>& news, Clock::time_point now) {
    std::vector<StationKey> changed;
    for (const News& one : news) {
        if (noticeOne(one, now)) {
            changed.push_back(one.station);
        }
    }
    const int error = elements_.run();
    for (const StationKey& key : changed) {
        if (error == 0) {
            queue(key, stations_[key]);
        } else {
            stations_.erase(key);
        }
    }
    if (error != 0) {
        ostrel::report(ostrel::LogLevel::error, "%zu stations can't be noted: %s", changed.size(),
                       std::strerror(error));
    }
}

bool Stations::noticeOne(const News& news, Clock::time_point now) {
    const auto found = stations_.find(news.station);
    if (found == stations_.end()) {
        if (stations_.size() >= kMostStations) {
            ++refused_;
            return false;
        }
        Station& station = stations_[news.station];
        station.ip = news.ip;
        appendNew(news.station, station);
        return true;
    }
    Station& station = found->second;
    if (news.ip.s_addr == 0 || news.ip.s_addr == station.ip.s_addr ||
        (station.announcedAt != Clock::time_point::min() &&
         now - station.announcedAt < kAddressChange)) {
        return false;
    }
    const Station before = station;
    station.ip = news.ip;
    appendChange(news.station, before, station);
    return true;
}

void Stations::queue(const StationKey& key, Station& station) {
    if (!station.queued) {
        station.queued = true;
        callbacks_.announce(key);
    }
}

std::optional<in_addr> Stations::announced(const StationKey& key, Clock::time_point now) {
    const auto found = stations_.find(key);
    if (found == stations_.end()) {
        return std::nullopt;
    }
    Station& station = found->second;
    station.queued = false;
    station.announcedAt = now;
    if (!station.told) {
        station.deadline = std::min(station.deadline, now + kTellingTime);
    }
    return station.ip;
}

void Stations::tick(Clock::time_point now) {
    if (now >= announceUntold_) {
        announceUntold_ = Clock::time_point::max();
        for (auto& [key, station] : stations_) {
            if (!station.told) {
                queue(key, station);
            }
        }
    }
    if (now >= nextSweep_) {
        forgetDue(now);
    }
}

void Stations::forgetDue(Clock::time_point now) {
    std::vector<StationKey> due;
    for (const auto& [key, station] : stations_) {
        if (station.deadline <= now && due.size() < kForgottenAtOnce) {
            due.push_back(key);
        }
    }
    nextSweep_ = now + (due.size() == kForgottenAtOnce ? kSweepPause : milliseconds(seconds(1)));
    for (const StationKey& key : due) {
        if (const int error = forget(key)) {
            ostrel::report(ostrel::LogLevel::error, "%s on %s can't be forgotten: %s",
                           ostrel::macText(key.mac).c_str(), key.deviceName().c_str(),
                           std::strerror(-error));
        }
    }
}

}  // namespace redirectord
