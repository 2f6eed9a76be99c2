#include "monitord/counters.h"

#include <linux/if_ether.h>
#include <net/if.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <system_error>
#include <unordered_map>

namespace monitord {

using companion::AnswerEnd;
using companion::QueueRoot;
using companion::SetElement;
using companion::StationKey;
using companion::TableFamily;
using Extent = CounterSample::Extent;

namespace {

// Under many changes a second no dump is undisturbed, and one more costs 8 ms at 10,000 stations.
constexpr int kMostTries = 2;
constexpr const char* kClasses = "shape_classes";

// The kernel counts what comes in without its Ethernet header, and what goes out with it.
Traffic withoutHeaders(Traffic traffic) {
    traffic.bytes -= std::min(traffic.bytes, traffic.packets * ETH_HLEN);
    return traffic;
}

// What went into the class of a station.
struct Offered {
    std::uint32_t id = 0;
    Traffic traffic;
};

// What classes have sent, by their ids; those towards stations are of one device.
using Sent = std::unordered_map<std::uint32_t, Traffic>;

void countBehind(const Sent& sent, const Offered& offered, Traffic& counted) {
    const auto found = sent.find(offered.id);
    if (found == sent.end()) {
        return;  // its device has gone: the packets wait for nothing
    }
    // An element begins with what its class had sent before, so all may be less than was offered.
    const auto behind = [](std::uint64_t before, std::uint64_t came, std::uint64_t left) {
        return before + left > came ? before + left - came : 0;
    };
    counted.bytes = behind(counted.bytes, offered.traffic.bytes, found->second.bytes);
    counted.packets = behind(counted.packets, offered.traffic.packets, found->second.packets);
}

}  // namespace

AnswerEnd CounterReader::readSet(const char* name, std::vector<Counted>& counters) {
    return sets_.read(TableFamily::netdev, name, kMostTries, [&](const SetElement& element) {
        const auto station = StationKey::ofBytes(element.key);
        if (station && element.counter && element.key.size() == StationKey::kBytes) {
            counters.push_back({*station, {*element.counter, element.counter->packets}});
        }
    });
}

// Read after the counters, and the classes last: what is on its way meanwhile counts later, and
// nothing twice.
void CounterReader::takeQueues(CounterSample& sample) {
    std::unordered_map<StationKey, Offered, companion::StationKeyHash> receivers;
    std::unordered_map<std::uint32_t, Traffic> senders;
    const auto takeReceiver = [&](const SetElement& element) {
        const auto station = StationKey::ofBytes(element.key);
        if (station && element.counter) {
            receivers[*station] = {element.number, withoutHeaders(*element.counter)};
        }
    };
    const auto takeSender = [&](const SetElement& element) {
        senders[element.number] = element.counter.value_or(Traffic());
    };
    if (sets_.read(TableFamily::netdev, kClasses, kMostTries, takeReceiver).error != 0 ||
        receivers.empty() ||
        sets_.read(TableFamily::inet, kClasses, kMostTries, takeSender).error != 0) {
        return;
    }
    std::map<std::string, Sent> toStations;
    Sent fromStations;
    const std::unique_ptr<struct if_nameindex, decltype(&if_freenameindex)> links(if_nameindex(),
                                                                                  if_freenameindex);
    for (const auto* link = links.get(); link != nullptr && link->if_name != nullptr; ++link) {
        const std::string device = link->if_name;
        static_cast<void>(queues_.read(device, [&](const companion::QueueClass& one) {
            const bool isUp = one.id >= classId(QueueRoot::fromStations, 0);
            (isUp ? fromStations : toStations[device])[one.id] = one.sent;
        }));
    }
    for (auto& [station, passage] : sample.down) {
        const auto found = receivers.find(station);
        if (found != receivers.end()) {
            countBehind(toStations[station.deviceName()], found->second, passage.passed);
        }
    }
    for (auto& [station, passage] : sample.up) {
        const auto found = receivers.find(station);
        if (found == receivers.end()) {
            continue;
        }
        const auto minor = static_cast<std::uint16_t>(found->second.id);
        const auto offered = senders.find(classId(QueueRoot::fromStations, minor));
        if (offered != senders.end()) {
            countBehind(fromStations, {offered->first, offered->second}, passage.passed);
        }
    }
}

CounterSample CounterReader::read() {
    CounterSample sample;
    AnswerEnd end = readSet("up", sample.up);
    if (end.error == 0) {
        const AnswerEnd other = readSet("down", sample.down);
        end.error = other.error;
        end.interrupted = end.interrupted || other.interrupted;
        for (auto& [station, passage] : sample.down) {
            passage.passed = withoutHeaders(passage.passed);
        }
    }
    if (end.error == EPERM) {
        throw std::system_error(EPERM, std::generic_category(), "the counters can't be read");
    }
    if (end.error == 0) {
        sample.extent = end.interrupted ? Extent::some : Extent::all;
        takeQueues(sample);
    } else {
        sample.extent = end.error == ENOENT ? Extent::noTable : Extent::none;
    }
    reportChange(sample.extent, end.error);
    return sample;
}

void CounterReader::reportChange(Extent extent, int error) {
    const Extent now = extent == Extent::some ? Extent::all : extent;
    if (now == last_) {
        return;
    }
    last_ = now;
    if (now == Extent::all) {
        ostrel::report(ostrel::LogLevel::warning, "the counters are there again");
    } else {
        ostrel::report(ostrel::LogLevel::warning, "no counters in the sets of table netdev %s: %s",
                       companion::kFirewallTable, std::strerror(error));
    }
}

}  // namespace monitord
