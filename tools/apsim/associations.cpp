#include "apsim/associations.h"

namespace apsim {

namespace {

constexpr std::uint64_t kPacketBytes = 1500;
// One element of the answer is about this long.
constexpr std::size_t kElementBytes = 320;

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

std::string Associations::statisticsAnswer(const std::string& context) const {
    const auto now = std::chrono::steady_clock::now();
    std::string text = "{";
    if (!context.empty()) {
        text += "\"context\":" + context + ',';
    }
    text += "\"value\":[";
    ostrel::MutexLock lock(mutex_);
    text.reserve(text.size() + stations_.size() * kElementBytes + 2);
    const char* separator = "";
    for (const auto& [name, station] : stations_) {
        text += separator;
        text += "{\"interface\":\"" + station.id.interface + "\",\"hw-addr\":\"" + station.id.mac;
        text += "\",\"statistics\":{";
        appendDirection(text, "rx", station.counters.rxBytes, station.counters.rxPackets);
        text += "},";
        appendDirection(text, "tx", station.counters.txBytes, station.counters.txPackets);
        text += ",\"lost-packets\":\"0\"}},";
        const auto uptime = std::chrono::duration_cast<std::chrono::seconds>(now - station.since);
        appendNumber(text, "uptime", static_cast<std::uint64_t>(uptime.count()));
        text += '}';
        separator = ",";
    }
    text += "]}";
    return text;
}

}  // namespace apsim
