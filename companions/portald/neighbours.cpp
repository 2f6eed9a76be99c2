#include "portald/neighbours.h"

#include <arpa/inet.h>
#include <linux/neighbour.h>

#include <algorithm>
#include <array>
#include <iterator>

#include "ostrel/addresses.h"
#include "ostrel/clock.h"

namespace portald {
namespace {

constexpr std::int64_t kReadEvery = 100;  // milliseconds
constexpr std::int64_t kKnownFor = 2000;  // milliseconds
constexpr auto kUsable = NUD_REACHABLE | NUD_DELAY | NUD_PROBE | NUD_PERMANENT | NUD_STALE;

std::string addressOf(const companion::Neighbour& neighbour) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    inet_ntop(neighbour.family, neighbour.address.data(), text.data(), text.size());
    return text.data();
}

}  // namespace

std::vector<Neighbours::Owner> Neighbours::ownersOf(const std::string& address,
                                                    unsigned int device) {
    const std::int64_t age = ostrel::monotonicMilliseconds() - readAt_;
    std::vector<Owner> owners = lookUp(address, device);
    const std::int64_t readEvery = owners.empty() ? kReadEvery : kKnownFor;
    if (readAt_ < 0 || age >= readEvery) {
        refresh();
        owners = lookUp(address, device);
    }
    return owners;
}

std::vector<Neighbours::Owner> Neighbours::lookUp(const std::string& address,
                                                  unsigned int device) const {
    const auto found = ipv6_.find(address);
    if (found == ipv6_.end()) {
        return {};
    }
    std::vector<Key> stations;
    std::copy_if(found->second.begin(), found->second.end(), std::back_inserter(stations),
                 [device](const Key& key) { return device == 0 || key.first == device; });
    const auto addresses = stations.size() == 1 ? ipv4_.find(stations.front()) : ipv4_.end();
    return addresses != ipv4_.end() ? addresses->second : std::vector<Owner>();
}

void Neighbours::refresh() {
    readAt_ = ostrel::monotonicMilliseconds();
    ipv6_.clear();
    ipv4_.clear();
    std::vector<companion::Neighbour> all = source_();
    std::stable_sort(all.begin(), all.end(), [](const auto& one, const auto& other) {
        return one.confirmedAgoMs < other.confirmedAgoMs;
    });
    for (const companion::Neighbour& one : all) {
        const Key key(one.device, one.mac);
        if (one.family == AF_INET6) {
            ipv6_[addressOf(one)].insert(key);
        } else if ((one.state & kUsable) != 0) {
            ipv4_[key].push_back({ostrel::macText(one.mac), addressOf(one)});
        }
    }
}

}  // namespace portald
