#include "redirectord/shaper.h"

#include <linux/if_ether.h>
#include <net/if.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include "ostrel/runtime.h"
#include "redirectord/ruleset.h"

namespace redirectord {
namespace {

using ostrel::LogLevel;

constexpr const char* kClasses = "shape_classes";
static_assert(kMostStations <= ShaperQueues::kHighestMinor);

constexpr const char* kMaps = R"(
table netdev vesta {
    map shape_classes { type ifname . ether_addr : classid; counter; size 16384; }
    chain shape_down { }
}
table inet vesta {
    map shape_classes { type ifname . ether_addr : classid; counter; size 16384; }
    chain shape_up { }
}
)";

// Towards a station, the family netdev knows its device and MAC. What it sends is routed first,
// which gives IPv4 packets a priority anew; so their class is chosen in forward, where the MAC is
// still there. Without any limit packets are spared the look-up.
constexpr const char* kRules = R"(
flush chain netdev vesta shape_down
flush chain inet vesta shape_up
table netdev vesta {
    chain shape_down { meta priority set oifname . ether daddr map @shape_classes; }
}
table inet vesta {
    chain shape_up { meta priority set iifname . ether saddr map @shape_classes; }
}
)";

// The elements of a map: the station, and the minor number of its class.
std::map<StationKey, std::uint16_t> elementsOf(TableFamily family) {
    std::map<StationKey, std::uint16_t> found;
    const auto read = [&found](const companion::SetElement& element) {
        const auto key = StationKey::ofBytes(element.key);
        const auto minor = static_cast<std::uint16_t>(element.number);
        if (key && minor >= 1 && minor <= ShaperQueues::kHighestMinor) {
            found[*key] = minor;
        }
    };
    const int error =
        companion::SetReader().read(family, kClasses, companion::kManyTries, read).error;
    if (error != 0) {
        throw std::system_error(error, std::generic_category(),
                                "the stations with limits can't be read");
    }
    return found;
}

void reportFailure(const std::string& what, int error) {
    ostrel::report(LogLevel::error, "speed limits: %s: %s", what.c_str(), std::strerror(error));
}

}  // namespace

Shaper::Shaper(Nft& nft, std::string uplink, const std::vector<std::string>& captiveDevices)
    : nft_(nft),
      uplink_(std::move(uplink)),
      devices_(captiveDevices.begin(), captiveDevices.end()),
      senders_(TableFamily::inet) {
    if (!nft_.run(kMaps)) {
        throw std::runtime_error("the maps of the speed limits: " + nft_.error());
    }
    if (uplink_.empty()) {
        ostrel::report(LogLevel::warning, "without --uplink nothing limits what stations send");
    }
    takeOver();
    if (!stations_.empty()) {
        putRules();
    }
    look();
}

void Shaper::putRules() {
    if (!hasRules_ && !nft_.run(kRules)) {
        ostrel::report(LogLevel::error, "the rules of the speed limits: %s", nft_.error().c_str());
        return;
    }
    hasRules_ = true;
}

void Shaper::takeOver() {
    std::map<std::uint16_t, Station*> owners;
    for (const auto& [key, minor] : elementsOf(TableFamily::netdev)) {
        Station*& owner = owners[minor];
        if (owner == nullptr) {
            owner = &stations_[key];
            owner->minor = minor;
        }
    }
    minorOfSender_ = elementsOf(TableFamily::inet);
    for (const auto& [sender, minor] : minorOfSender_) {
        if (const auto owner = owners.find(minor); owner != owners.end()) {
            owner->second->sender = sender;
        }
    }
    highestMinor_ = owners.empty() ? 0 : owners.rbegin()->first;
    for (std::uint16_t minor = 1; minor < highestMinor_; ++minor) {
        if (owners.count(minor) == 0) {
            idleMinors_.insert(minor);
        }
    }
    takeOverClasses();
    forgetUnlimited();
}

// Learns the limits from the classes.
void Shaper::takeOverClasses() {
    std::map<std::string, std::map<std::uint16_t, std::uint32_t>> found;
    for (const std::string& device : devices_) {
        found[device] = queues_.classes(device, QueueRoot::toStations);
    }
    const auto sending = queues_.classes(uplink_, QueueRoot::fromStations);
    const auto limitIn = [](const std::map<std::uint16_t, std::uint32_t>& classes,
                            const Station& station) {
        const auto at = classes.find(station.minor);
        return at == classes.end() ? 0 : at->second;
    };
    for (auto& [key, station] : stations_) {
        station.limits = {limitIn(found[key.deviceName()], station), limitIn(sending, station)};
    }
    found[uplink_] = sending;
    for (const auto& [device, classes] : found) {
        for (const auto& [minor, limit] : classes) {
            roots_[device].insert(minor);
        }
    }
}

// Stations whose classes went with their devices while nobody looked.
void Shaper::forgetUnlimited() {
    std::vector<StationKey> lost;
    for (const auto& [key, station] : stations_) {
        if (!hasClass(key.deviceName(), station.minor) && !hasClass(uplink_, station.minor)) {
            lost.push_back(key);
        }
    }
    for (const StationKey& key : lost) {
        ostrel::report(LogLevel::warning, "the speed limits of %s on %s are lost with the device",
                       ostrel::macText(key.mac).c_str(), key.deviceName().c_str());
        forgetStation(key);
    }
}

void Shaper::shaperLine(std::string_view line) {
    std::string problem;
    const std::optional<ShaperCommand> command = parseShaperCommand(line, problem);
    if (command && devices_.count(command->station.deviceName()) == 0) {
        problem = command->station.deviceName() + " is no captive device";
    }
    if (!problem.empty()) {
        ostrel::report(LogLevel::error, "a command to limit speeds is refused: %s",
                       problem.c_str());
        return;
    }
    setLimits(command->station, command->limits);
}

void Shaper::forgetStation(const StationKey& key) {
    const auto found = stations_.find(key);
    if (found == stations_.end()) {
        return;
    }
    Station& station = found->second;
    setClass(key.deviceName(), QueueRoot::toStations, station.minor, 0);
    setClass(uplink_, QueueRoot::fromStations, station.minor, 0);
    removeSender(station);
    receivers_.remove(kClasses, key.bytes());
    run(receivers_);
    idleMinors_.insert(station.minor);
    stations_.erase(found);
}

std::map<StationKey, SpeedLimits> Shaper::limits() const {
    std::map<StationKey, SpeedLimits> all;
    for (const auto& [key, station] : stations_) {
        all[key] = station.limits;
    }
    return all;
}

void Shaper::setLimits(const StationKey& key, const SpeedLimits& limits) {
    auto found = stations_.find(key);
    const bool isNew = found == stations_.end();
    if (isNew && (limits.toStation != 0 || limits.fromStation != 0)) {
        found = make(key);
    }
    if (found != stations_.end()) {
        found->second.limits = limits;
        apply(key, found->second, isNew);
    }
}

Shaper::Stations::iterator Shaper::make(const StationKey& key) {
    if (stations_.size() >= kMostStations) {
        const auto idle = std::find_if(stations_.begin(), stations_.end(), [](const auto& one) {
            return one.second.limits.toStation == 0 && one.second.limits.fromStation == 0;
        });
        if (idle == stations_.end()) {
            ostrel::report(LogLevel::error, "%zu stations have speed limits; %s gets none",
                           stations_.size(), ostrel::macText(key.mac).c_str());
            return idle;
        }
        forgetStation(StationKey(idle->first));
    }
    putRules();
    return stations_.emplace(key, Station{takeMinor(), {}, {}}).first;
}

bool Shaper::hasClass(const std::string& device, std::uint16_t minor) const {
    const auto stands = roots_.find(device);
    return stands != roots_.end() && stands->second.count(minor) != 0;
}

void Shaper::apply(const StationKey& key, Station& station, bool isNew) {
    const auto set = [&](const std::string& device, QueueRoot root, std::uint32_t limit) {
        const bool stood = hasClass(device, station.minor);
        setClass(device, root, station.minor, limit);
        return isNew || (!stood && hasClass(device, station.minor));
    };
    if (set(key.deviceName(), QueueRoot::toStations, station.limits.toStation)) {
        setReceiver(key, station.minor);
    }
    const bool isClassNew = set(uplink_, QueueRoot::fromStations, station.limits.fromStation);
    if (station.limits.fromStation != 0) {
        setSender(key, station, isClassNew);
    }
}

void Shaper::setReceiver(const StationKey& key, std::uint16_t minor) {
    const std::uint32_t id = classId(QueueRoot::toStations, minor);
    companion::Traffic sent = queues_.sent(key.deviceName(), QueueRoot::toStations, minor);
    // The map counts what goes to a station with its link header.
    sent.bytes += sent.packets * ETH_HLEN;
    const std::string bytes = key.bytes();
    receivers_.addMark(kClasses, bytes, id);
    receivers_.remove(kClasses, bytes);  // whether it was there or not
    receivers_.addClass(kClasses, bytes, id, sent);
    run(receivers_);
}

// The lowest that is free, because its classes are there already.
std::uint16_t Shaper::takeMinor() {
    if (idleMinors_.empty()) {
        return ++highestMinor_;
    }
    return idleMinors_.extract(idleMinors_.begin()).value();
}

void Shaper::setClass(const std::string& device, QueueRoot root, std::uint16_t minor,
                      std::uint32_t limit) {
    if (limit == 0 && !hasClass(device, minor)) {
        return;
    }
    int error = tryClass(device, root, minor, limit);
    if (error != 0 && roots_.erase(device) != 0) {
        error = tryClass(device, root, minor, limit);  // somebody has removed our root
    }
    if (error != 0 && error != ENODEV && error != EEXIST) {
        reportFailure("a class of \"" + device + '"', error);
    }
}

int Shaper::tryClass(const std::string& device, QueueRoot root, std::uint16_t minor,
                     std::uint32_t limit) {
    int error = ensureRoot(device, root);
    if (error == 0) {
        error = queues_.setClass(device, root, minor, limit);
    }
    if (error == 0) {
        roots_[device].insert(minor);
    }
    return error;
}

// The root is made for the first limit, so that a device without limits keeps its own. One of
// somebody else's stays: the operator has a reason for it.
int Shaper::ensureRoot(const std::string& device, QueueRoot root) {
    if (roots_.count(device) != 0) {
        return 0;
    }
    const int error = queues_.makeRoot(device, root);
    if (error == 0) {
        refused_.erase(device);
        roots_[device];
    } else if (error == EEXIST && refused_.insert(device).second) {
        ostrel::report(LogLevel::error,
                       "%s has a queueing discipline that is not ours (%s): nothing limits what "
                       "goes out by it until that is removed",
                       device.c_str(), queues_.rootText(device).c_str());
    }
    return error;
}

// A station that moved from one port of a bridge to another has two keys here for a while, and one
// in the family inet: that of the port that was told last.
void Shaper::setSender(const StationKey& key, Station& station, bool isClassNew) {
    const StationKey sender = StationKey(queues_.network(key.deviceName()), key.mac);
    if (!(sender == station.sender)) {
        removeSender(station);
        station.sender = sender;
    }
    const auto before = minorOfSender_.find(sender);
    if (before != minorOfSender_.end() && before->second == station.minor && !isClassNew) {
        return;
    }
    if (before != minorOfSender_.end()) {
        senders_.remove(kClasses, sender.bytes());
    }
    senders_.addClass(kClasses, sender.bytes(), classId(QueueRoot::fromStations, station.minor),
                      queues_.sent(uplink_, QueueRoot::fromStations, station.minor));
    run(senders_);
    minorOfSender_[sender] = station.minor;
}

void Shaper::removeSender(const Station& station) {
    const auto found = minorOfSender_.find(station.sender);
    if (found != minorOfSender_.end() && found->second == station.minor) {
        senders_.remove(kClasses, found->first.bytes());
        run(senders_);
        minorOfSender_.erase(found);
    }
}

void Shaper::run(ElementBatch& batch) {
    if (const int error = batch.run(); error != 0) {
        reportFailure("the element of a station", error);
    }
}

void Shaper::deviceAppeared(const std::string& device) {
    roots_.erase(device);
    for (auto& [key, station] : stations_) {
        if (device == uplink_ || key.deviceName() == device) {
            apply(key, station, false);
        }
    }
}

void Shaper::look() {
    const int index = static_cast<int>(if_nametoindex(uplink_.c_str()));
    const bool uplinkCame = index != 0 && index != uplinkIndex_;
    uplinkIndex_ = index;
    std::vector<std::string> waiting(refused_.begin(), refused_.end());
    if (uplinkCame) {
        waiting.push_back(uplink_);
    }
    for (const std::string& device : waiting) {
        deviceAppeared(device);
    }
}

bool Shaper::removeQueues() {
    const int error = ShaperQueues().removeRoots();
    if (error != 0) {
        reportFailure("some queues stay", error);
    }
    return error == 0;
}

}  // namespace redirectord
