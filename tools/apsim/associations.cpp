#include "apsim/associations.h"

#include <algorithm>

namespace apsim {

namespace {

constexpr std::uint64_t kPacketBytes = 1500;
// One element of the answer is about this long.
constexpr std::size_t kElementBytes = 320;
// Well within what the bus takes of bytes and of values.
constexpr std::size_t kStationsOfAFrame = 10000;

void appendNumber(std::string& text, const char* name, std::uint64_t value) {
    text += '"';
    text += name;
    text += "\":\"";
    text += std::to_string(value);
    text += '"';
}

void appendDirection(std::string& text, const char* name, std::uint64_t bytes,
                     std::uint64_t packets) {
    text += '"';
    text += name;
    text += "\":{";
    appendNumber(text, "bytes", bytes);
    text += ',';
    appendNumber(text, "packets", packets);
    text += R"(,"dropped-packets":"0","dropped-bytes":"0")";
}

}  // namespace

void Associations::associate(const StationId& id) {
    ostrel::MutexLock lock(mutex_);
    stations_[key(id)] = {id, {}, std::chrono::steady_clock::now()};
}

bool Associations::leave(const StationId& id) {
    ostrel::MutexLock lock(mutex_);
    return stations_.erase(key(id)) > 0;
}

bool Associations::count(const StationId& id, std::uint64_t rxBytes, std::uint64_t txBytes) {
    ostrel::MutexLock lock(mutex_);
    const auto found = stations_.find(key(id));
    if (found == stations_.end()) {
        return false;
    }
    Counters& counters = found->second.counters;
    counters.rxBytes += rxBytes;
    counters.txBytes += txBytes;
    counters.rxPackets += (rxBytes + kPacketBytes - 1) / kPacketBytes;
    counters.txPackets += (txBytes + kPacketBytes - 1) / kPacketBytes;
    return true;
}

bool Associations::contains(const StationId& id) const {
    ostrel::MutexLock lock(mutex_);
    return stations_.count(key(id)) > 0;
}

Counters Associations::counters(const StationId& id) const {
    ostrel::MutexLock lock(mutex_);
    const auto found = stations_.find(key(id));
    return found == stations_.end() ? Counters{} : found->second.counters;
}

std::size_t Associations::size() const {
    ostrel::MutexLock lock(mutex_);
    return stations_.size();
}

std::vector<std::string> Associations::statisticsAnswer(const std::string& context) const {
    const auto now = std::chrono::steady_clock::now();
    const std::string head = "{" + (context.empty() ? "" : "\"context\":" + context + ',');
    std::vector<std::string> frames;
    std::string value;
    ostrel::MutexLock lock(mutex_);
    value.reserve(std::min(stations_.size(), kStationsOfAFrame) * kElementBytes);
    std::size_t told = 0;
    for (const auto& [name, station] : stations_) {
        if (told > 0 && told % kStationsOfAFrame == 0) {
            frames.push_back(head + "\"more\":true,\"value\":[" + value + "]}");
            value.clear();
        }
        ++told;
        value += value.empty() ? "" : ",";
        value += "{\"interface\":\"" + station.id.interface + "\",\"hw-addr\":\"" + station.id.mac;
        value += "\",\"statistics\":{";
        appendDirection(value, "rx", station.counters.rxBytes, station.counters.rxPackets);
        value += "},";
        appendDirection(value, "tx", station.counters.txBytes, station.counters.txPackets);
        value += ",\"lost-packets\":\"0\"}},";
        const auto uptime = std::chrono::duration_cast<std::chrono::seconds>(now - station.since);
        appendNumber(value, "uptime", static_cast<std::uint64_t>(uptime.count()));
        value += '}';
    }
    frames.push_back(head + "\"value\":[" + value + "]}");
    return frames;
}

}  // namespace apsim
