#include "redirectord/flows.h"

#include <linux/netfilter/nfnetlink.h>
#include <linux/netfilter/nfnetlink_conntrack.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "netlink/neighbours.h"

namespace redirectord {
namespace {

using std::chrono::milliseconds;

// Stations whose time ends together share a pass.
constexpr milliseconds kGather{10};
// A pass through a large table may take a tenth of our time.
constexpr int kPausePerPass = 9;
constexpr milliseconds kLongestPause{1000};
constexpr int kReadsAtOnce = 8;

nlmsghdr* putRequest(NetlinkBuffer& space, int type, std::uint16_t flags, std::uint8_t family) {
    nlmsghdr* const message = mnl_nlmsg_put_header(space.data());
    message->nlmsg_type = static_cast<std::uint16_t>(NFNL_SUBSYS_CTNETLINK << 8 | type);
    message->nlmsg_flags = static_cast<std::uint16_t>(NLM_F_REQUEST | flags);
    auto* const generic =
        static_cast<nfgenmsg*>(mnl_nlmsg_put_extra_header(message, sizeof(nfgenmsg)));
    generic->nfgen_family = family;
    generic->version = NFNETLINK_V0;
    return message;
}

std::string bytesOf(in_addr address) {
    return {reinterpret_cast<const char*>(&address), sizeof address};
}

// True when a tuple of the flow has one of these addresses.
bool tupleHas(std::string_view tuple, const std::set<std::string>& addresses) {
    bool has = false;
    eachAttribute(tuple, [&](const NetlinkAttribute& part) {
        if (part.type == CTA_TUPLE_IP) {
            eachAttribute(part.bytes, [&](const NetlinkAttribute& address) {
                has = has || addresses.count(std::string(address.bytes)) != 0;
            });
        }
    });
    return has;
}

}  // namespace

Flows::Flows(companion::EventLoop& loop)
    : loop_(loop), table_(NETLINK_NETFILTER), deletions_(NETLINK_NETFILTER) {
    loop_.whenReadable(table_.fd(), [this] { readSome(); });
}

Flows::~Flows() {
    loop_.forget(table_.fd());
}

void Flows::cut(const ostrel::MacBytes& mac, in_addr ip) {
    macs_.insert(mac);
    if (ip.s_addr != 0) {
        addresses_.insert(bytesOf(ip));
    }
    if (!scheduled_ && !reading_) {
        schedule();
    }
}

void Flows::spare(const ostrel::MacBytes& mac, in_addr ip) {
    macs_.erase(mac);
    addresses_.erase(bytesOf(ip));
}

void Flows::schedule() {
    scheduled_ = true;
    const auto pause = std::chrono::ceil<milliseconds>(notBefore_ - Clock::now());
    loop_.after(std::max(kGather, pause), [this] { begin(); });
}

void Flows::begin() {
    scheduled_ = false;
    reading_ = true;
    began_ = Clock::now();
    sought_ = std::exchange(addresses_, {});
    const std::set<ostrel::MacBytes> macs = std::exchange(macs_, {});
    for (const companion::Neighbour& one : companion::NeighbourTables().neighbours()) {
        if (macs.count(one.mac) != 0) {
            const std::size_t size = one.family == AF_INET ? sizeof(in_addr) : sizeof(in6_addr);
            sought_.emplace(reinterpret_cast<const char*>(one.address.data()), size);
        }
    }
    alignas(nlmsghdr) NetlinkBuffer space;
    const nlmsghdr* const message = putRequest(space, IPCTNL_MSG_CT_GET, NLM_F_DUMP, AF_UNSPEC);
    const int error = table_.send({reinterpret_cast<const char*>(message), message->nlmsg_len});
    if (error != 0) {
        ostrel::report(ostrel::LogLevel::error, "the connection table can't be read: %s",
                       std::strerror(error));
        finish();
    }
}

void Flows::readSome() {
    bool ended = false;
    const int end = table_.drain(kReadsAtOnce, [this, &ended](const nlmsghdr* message) {
        if (message->nlmsg_type == NLMSG_DONE || message->nlmsg_type == NLMSG_ERROR) {
            ended = true;
        } else {
            examine(message);
        }
    });
    if (ended || (end != 0 && end != EAGAIN)) {
        finish();
    }
}

void Flows::examine(const nlmsghdr* message) {
    if (mnl_nlmsg_get_payload_len(message) < sizeof(nfgenmsg)) {
        return;
    }
    std::string_view original;
    std::string_view zone;
    std::string_view id;
    bool has = false;
    eachAttribute(attributesOf(message, sizeof(nfgenmsg)), [&](const NetlinkAttribute& one) {
        switch (one.type) {
            case CTA_TUPLE_ORIG:
                original = one.bytes;
                has = has || tupleHas(one.bytes, sought_);
                break;
            case CTA_TUPLE_REPLY:
                has = has || tupleHas(one.bytes, sought_);
                break;
            case CTA_ZONE:
                zone = one.bytes;
                break;
            case CTA_ID:
                id = one.bytes;
                break;
            default:
                break;
        }
    });
    if (!has) {
        return;
    }
    const auto family = static_cast<const nfgenmsg*>(mnl_nlmsg_get_payload(message))->nfgen_family;
    alignas(nlmsghdr) NetlinkBuffer space;
    nlmsghdr* const deletion = putRequest(space, IPCTNL_MSG_CT_DELETE, 0, family);
    mnl_attr_put(deletion, CTA_TUPLE_ORIG | NLA_F_NESTED, original.size(), original.data());
    mnl_attr_put(deletion, CTA_ID, id.size(), id.data());
    if (!zone.empty()) {
        mnl_attr_put(deletion, CTA_ZONE, zone.size(), zone.data());
    }
    condemned_.emplace_back(reinterpret_cast<const char*>(deletion), deletion->nlmsg_len);
}

void Flows::finish() {
    for (const std::string& deletion : condemned_) {
        deletions_.send(deletion);
    }
    // A flow that has ended by itself meanwhile is no trouble.
    deletions_.drain(1 << 20, [](const nlmsghdr*) {});
    condemned_.clear();
    sought_.clear();
    reading_ = false;
    const Clock::time_point now = Clock::now();
    notBefore_ = now + std::min<Clock::duration>(kPausePerPass * (now - began_), kLongestPause);
    if (!macs_.empty()) {
        schedule();
    }
}

}  // namespace redirectord
