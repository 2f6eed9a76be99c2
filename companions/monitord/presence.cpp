#include "monitord/presence.h"

#include <linux/neighbour.h>
#include <net/if.h>

#include <cstring>

namespace monitord {
namespace {

using companion::BridgeEntry;
using companion::Neighbour;

// The names of devices, each looked up once.
class DeviceNames {
public:
    // "" when there is no such device any more.
    const std::string& of(unsigned int index) {
        const auto [place, isNew] = names_.try_emplace(index);
        char name[IF_NAMESIZE];
        if (isNew && if_indextoname(index, name) != nullptr) {
            place->second = name;
        }
        return place->second;
    }

private:
    std::unordered_map<unsigned int, std::string> names_;
};

bool canBeAsked(const Neighbour& neighbour) {
    return (neighbour.state & (NUD_REACHABLE | NUD_STALE | NUD_DELAY)) != 0;
}

}  // namespace

void Presence::look(Time now) {
    DeviceNames names;
    companion::BridgePorts ports;
    for (const BridgeEntry& entry : tables_.bridgeEntries()) {
        ports.add(entry);
        stations_.takeProof(StationKey(names.of(entry.port), entry.mac), now - entry.heardAgoMs,
                            now);
    }
    const std::vector<Neighbour> neighbours = tables_.neighbours();
    std::vector<Silent> reachable;
    for (const Neighbour& neighbour : neighbours) {
        const StationKey station(names.of(ports.of(neighbour)), neighbour.mac);
        stations_.takeProof(station, now - neighbour.confirmedAgoMs, now);
        if (canBeAsked(neighbour)) {
            reachable.push_back({station, neighbour});
        }
    }
    stations_.judge(now);
    silent_.clear();
    for (const Silent& one : reachable) {
        if (stations_.isSilent(one.station, now)) {
            silent_.push_back(one);
        }
    }
}

void Presence::askSilent(Time now) {
    for (std::size_t asked = 0; asked < kMostAskedAtATime && !silent_.empty(); ++asked) {
        const Silent one = silent_.front();
        silent_.pop_front();
        if (!stations_.isSilent(one.station, now)) {
            continue;  // it has spoken meanwhile
        }
        if (const int error = tables_.verify(one.neighbour)) {
            ostrel::report(ostrel::LogLevel::debug, "the kernel does not ask %s: %s",
                           ostrel::macText(one.station.mac).c_str(), std::strerror(error));
        }
    }
}

}  // namespace monitord
