#include "monitord/stations.h"

#include <algorithm>
#include <cstdlib>

#include "ostrel/runtime.h"

namespace monitord {
namespace {

using Extent = CounterSample::Extent;

// A radio counts whole seconds; a difference below this is no new connection.
constexpr Time kRadioJitterMs = 2000;

// What begins with a counter that is new, or was made anew.
void begin(Record& record, Time now) {
    record.since = now;
    record.seen = now;
    record.counted = now;
    record.uncounted = 0;
}

}  // namespace

Record* Stations::find(const StationKey& station) {
    const auto device = devices_.find(station.device);
    if (device == devices_.end()) {
        return nullptr;
    }
    const auto found = device->second.records.find(station.mac);
    return found == device->second.records.end() ? nullptr : &found->second;
}

Record* Stations::make(const StationKey& station) {
    if (count_ >= kMost) {
        if (!isFull_) {
            ostrel::report(ostrel::LogLevel::warning,
                           "more than %zu stations; the rest is not told", kMost);
        }
        isFull_ = true;
        return nullptr;
    }
    ++count_;
    return &devices_[station.device].records[station.mac];
}

void Stations::takeDirection(const std::vector<Counted>& counters, Passage Record::*direction,
                             Time now) {
    for (const auto& [station, passage] : counters) {
        Record* const known = find(station);
        Record* const record = known != nullptr ? known : make(station);
        if (record == nullptr) {
            continue;
        }
        Passage& before = record->*direction;
        Traffic passed = passage.passed;
        if (known == nullptr || record->uncounted != 0 || passage.counted < before.counted) {
            begin(*record, now);
        } else {
            const bool isSender = direction == &Record::up && passage.counted > before.counted;
            record->seen = isSender ? now : record->seen;
            passed.bytes = std::max(passed.bytes, before.passed.bytes);
            passed.packets = std::max(passed.packets, before.passed.packets);
        }
        before = {passed, passage.counted};
        record->pass = pass_;
    }
}

void Stations::takeCounters(const CounterSample& sample, Time now) {
    if (sample.extent == Extent::none) {
        return;
    }
    hasTable_ = sample.extent != Extent::noTable;
    ++pass_;
    takeDirection(sample.up, &Record::up, now);
    takeDirection(sample.down, &Record::down, now);
    if (sample.extent != Extent::all) {
        return;
    }
    const bool areRulesNew = sample.up.empty() && sample.down.empty();
    for (auto& [name, device] : devices_) {
        for (auto& [mac, record] : device.records) {
            if (record.pass != pass_ && record.uncounted == 0) {
                record.uncounted = areRulesNew ? now : now - kUncountedMs;
            }
        }
    }
}

void Stations::takeProof(const StationKey& station, Time seen, Time now) {
    if (station.deviceName().empty()) {
        return;  // its device has just gone
    }
    if (Record* const known = find(station)) {
        known->seen = std::max(known->seen, seen);
    } else if (!hasTable_ && now - seen < goneAfterMs_) {
        if (Record* const record = make(station)) {
            record->since = now;
            record->seen = seen;
        }
    }
}

void Stations::setRadio(const std::string& device, std::optional<RadioList> list) {
    devices_[StationKey(device, {}).device].radio = std::move(list);
}

void Stations::restore(const StationKey& station, const Record& record, Time now) {
    Record* const made = make(station);
    if (made == nullptr) {
        return;
    }
    *made = record;
    // It was not watched meanwhile: there is time to ask it before it is gone.
    if (record.present) {
        made->seen = std::max(record.seen, now - goneAfterMs_ / 2);
    }
}

bool Stations::isThere(const Device& device, const Mac& mac, Record& record, Time now) const {
    if (!device.radio) {
        return now - record.seen < goneAfterMs_;
    }
    const auto entry = device.radio->find(mac);
    if (entry == device.radio->end()) {
        return record.counted != 0 && now - record.counted < kNewMs;
    }
    record.seen = now;
    if (!record.present || std::abs(record.since - entry->second) > kRadioJitterMs) {
        record.since = entry->second;
    }
    return true;
}

bool Stations::isOver(const Record& record, Time now) const {
    return hasTable_ ? record.uncounted != 0 && now - record.uncounted >= kUncountedMs
                     : !record.present;
}

void Stations::judge(Time now) {
    for (auto& [name, device] : devices_) {
        for (auto one = device.records.begin(); one != device.records.end();) {
            Record& record = one->second;
            const bool before = record.present;
            if (!before && !device.radio) {
                record.since = std::max(record.since, record.seen);
            }
            record.present = isThere(device, one->first, record, now);
            changes_ += before != record.present ? 1U : 0U;
            if (isOver(record, now)) {
                one = device.records.erase(one);
                --count_;
                isFull_ = false;
            } else {
                ++one;
            }
        }
    }
}

void Stations::forEach(
    const std::function<void(const char* device, const Mac&, const Record&)>& visit) const {
    for (const auto& [name, device] : devices_) {
        for (const auto& [mac, record] : device.records) {
            visit(name.data(), mac, record);
        }
    }
}

std::vector<std::string> Stations::devices() const {
    std::vector<std::string> names;
    for (const auto& [name, device] : devices_) {
        names.emplace_back(name.data());
    }
    return names;
}

bool Stations::isSilent(const StationKey& station, Time now) const {
    const auto device = devices_.find(station.device);
    if (device == devices_.end() || device->second.radio) {
        return false;
    }
    const auto found = device->second.records.find(station.mac);
    return found != device->second.records.end() && found->second.present &&
           now - found->second.seen >= goneAfterMs_ / 2;
}

}  // namespace monitord
