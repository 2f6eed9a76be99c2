#include "netlink/neighbours.h"

#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <unistd.h>

#include <cstring>

namespace companion {
namespace {

// The kernel tells ages in ticks of user space, 1/100 s on every machine that it runs on today.
std::int64_t milliseconds(std::uint32_t ticks) {
    static const long perSecond = sysconf(_SC_CLK_TCK);
    return static_cast<std::int64_t>(ticks) * 1000 / (perSecond > 0 ? perSecond : 100);
}

const ndmsg* neighbourHeader(const nlmsghdr& message) {
    return message.nlmsg_type == RTM_NEWNEIGH ? headerOf<ndmsg>(message) : nullptr;
}

template <typename Entry, typename Read>
std::vector<Entry> dump(NetlinkSocket& socket, int family, Read read) {
    NetlinkRequest request(RTM_GETNEIGH, NLM_F_DUMP);
    request.header<ndmsg>().ndm_family = static_cast<std::uint8_t>(family);
    std::vector<Entry> entries;
    const AnswerEnd end = socket.ask(request, [&](const nlmsghdr& message) {
        if (std::optional<Entry> entry = read(message)) {
            entries.push_back(*entry);
        }
    });
    if (end.error != 0) {
        ostrel::report(ostrel::LogLevel::debug, "the kernel gives no %s: %s",
                       family == AF_BRIDGE ? "bridge entries" : "neighbours",
                       std::strerror(end.error));
    }
    return entries;
}

std::size_t addressBytes(int family) {
    return family == AF_INET ? 4 : 16;
}

}  // namespace

std::optional<Neighbour> readNeighbour(const nlmsghdr& message) {
    const ndmsg* const header = neighbourHeader(message);
    if (header == nullptr || (header->ndm_family != AF_INET && header->ndm_family != AF_INET6)) {
        return std::nullopt;
    }
    Neighbour neighbour;
    neighbour.device = static_cast<unsigned int>(header->ndm_ifindex);
    neighbour.family = header->ndm_family;
    neighbour.state = header->ndm_state;
    bool hasMac = false;
    bool hasAddress = false;
    forEachAttribute(message, sizeof *header, [&](const nlattr& attribute) {
        const std::size_t bytes = mnl_attr_get_payload_len(&attribute);
        nda_cacheinfo ages{};
        switch (mnl_attr_get_type(&attribute)) {
            case NDA_DST:
                hasAddress = bytes == addressBytes(neighbour.family);
                std::memcpy(neighbour.address.data(), mnl_attr_get_payload(&attribute),
                            hasAddress ? bytes : 0);
                break;
            case NDA_LLADDR:
                hasMac = bytes == sizeof neighbour.mac && readAttribute(attribute, neighbour.mac);
                break;
            case NDA_CACHEINFO:
                if (readAttribute(attribute, ages)) {
                    neighbour.confirmedAgoMs = milliseconds(ages.ndm_confirmed);
                }
                break;
            default:
                break;
        }
    });
    return hasMac && hasAddress ? std::optional(neighbour) : std::nullopt;
}

std::optional<BridgeEntry> readBridgeEntry(const nlmsghdr& message) {
    const ndmsg* const header = neighbourHeader(message);
    if (header == nullptr || header->ndm_family != AF_BRIDGE ||
        (header->ndm_state & NUD_PERMANENT) != 0) {  // a port's own address
        return std::nullopt;
    }
    BridgeEntry entry;
    entry.port = static_cast<unsigned int>(header->ndm_ifindex);
    bool hasMac = false;
    forEachAttribute(message, sizeof *header, [&](const nlattr& attribute) {
        nda_cacheinfo ages{};
        switch (mnl_attr_get_type(&attribute)) {
            case NDA_LLADDR:
                hasMac = mnl_attr_get_payload_len(&attribute) == sizeof entry.mac &&
                         readAttribute(attribute, entry.mac);
                break;
            case NDA_MASTER:
                static_cast<void>(!readAttribute(attribute, entry.bridge));
                break;
            case NDA_VLAN:
                static_cast<void>(!readAttribute(attribute, entry.vlan));
                break;
            case NDA_CACHEINFO:
                if (readAttribute(attribute, ages)) {
                    entry.heardAgoMs = milliseconds(ages.ndm_updated);
                }
                break;
            default:
                break;
        }
    });
    return hasMac ? std::optional(entry) : std::nullopt;
}

void BridgePorts::add(const BridgeEntry& entry) {
    const auto [place, isNew] = bridges_[entry.bridge].try_emplace(entry.mac, entry);
    if (!isNew && entry.heardAgoMs < place->second.heardAgoMs) {
        place->second = entry;
    }
}

unsigned int BridgePorts::of(const Neighbour& neighbour) const {
    const auto bridge = bridges_.find(neighbour.device);
    if (bridge == bridges_.end()) {
        return neighbour.device;
    }
    const auto entry = bridge->second.find(neighbour.mac);
    return entry == bridge->second.end() ? neighbour.device : entry->second.port;
}

std::vector<Neighbour> NeighbourTables::neighbours() {
    return dump<Neighbour>(socket_, AF_UNSPEC, readNeighbour);
}

std::vector<BridgeEntry> NeighbourTables::bridgeEntries() {
    return dump<BridgeEntry>(socket_, AF_BRIDGE, readBridgeEntry);
}

int NeighbourTables::change(const Neighbour& neighbour, unsigned int type, unsigned int flags) {
    NetlinkRequest request(type, flags);
    auto& header = request.header<ndmsg>();
    header.ndm_family = neighbour.family;
    header.ndm_ifindex = static_cast<int>(neighbour.device);
    header.ndm_state = NUD_PROBE;
    request.put(NDA_DST, neighbour.address.data(), addressBytes(neighbour.family));
    return socket_.order(request);
}

int NeighbourTables::verify(const Neighbour& neighbour) {
    return change(neighbour, RTM_NEWNEIGH, NLM_F_REPLACE);
}

int NeighbourTables::forget(const Neighbour& neighbour) {
    return change(neighbour, RTM_DELNEIGH, 0);
}

int NeighbourTables::forget(const BridgeEntry& entry) {
    NetlinkRequest request(RTM_DELNEIGH, 0);
    auto& header = request.header<ndmsg>();
    header.ndm_family = AF_BRIDGE;
    header.ndm_ifindex = static_cast<int>(entry.port);
    header.ndm_flags = NTF_MASTER;
    request.put(NDA_LLADDR, entry.mac.data(), entry.mac.size());
    if (entry.vlan != 0) {
        request.put(NDA_VLAN, &entry.vlan, sizeof entry.vlan);
    }
    return socket_.order(request);
}

}  // namespace companion
