#include "redirectord/links.h"

#include <ifaddrs.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <system_error>

namespace redirectord {
namespace {

using companion::forEachAttribute;
using companion::readAttribute;
using ostrel::MacBytes;

// Nothing when the message is one of a radio's events, which says nothing else of the device.
std::optional<Link> linkIn(const nlmsghdr& message) {
    Link link;
    bool event = false;
    forEachAttribute(message, sizeof(ifinfomsg), [&](const nlattr& one) {
        switch (mnl_attr_get_type(&one)) {
            case IFLA_IFNAME:
                link.name = companion::textOf(one);
                break;
            case IFLA_MASTER:
                static_cast<void>(!readAttribute(one, link.master));
                break;
            case IFLA_MTU:
                static_cast<void>(!readAttribute(one, link.mtu));
                break;
            case IFLA_ADDRESS:
                static_cast<void>(!readAttribute(one, link.mac));
                break;
            case IFLA_WIRELESS:
                event = true;
                break;
            default:
                break;
        }
    });
    return event ? std::nullopt : std::optional(link);
}

}  // namespace

Links::Links(companion::EventLoop& loop, std::vector<std::string> captive,
             std::function<void()> changed)
    : loop_(loop),
      names_(std::move(captive)),
      changed_(std::move(changed)),
      changes_(NETLINK_ROUTE, RTMGRP_LINK),
      questions_(NETLINK_ROUTE) {
    loop_.whenReadable(changes_.fd(), [this] { readChanges(); });
}

Links::~Links() {
    loop_.forget(changes_.fd());
}

void Links::start() {
    readAll();
    changed_();
}

void Links::readAll() {
    links_.clear();
    companion::NetlinkRequest request(RTM_GETLINK, NLM_F_DUMP);
    request.header<ifinfomsg>().ifi_family = AF_UNSPEC;
    const int error = questions_.ask(request, [this](const nlmsghdr& one) { note(one); }).error;
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "no list of the interfaces");
    }
}

void Links::readChanges() {
    constexpr int kReads = 64;
    bool any = false;
    const int end =
        changes_.drain(kReads, [this, &any](const nlmsghdr& one) { any = note(one) || any; });
    if (end == ENOBUFS) {
        readAll();
    }
    if (any || end == ENOBUFS) {
        changed_();
    }
}

bool Links::note(const nlmsghdr& message) {
    const auto* const info = companion::headerOf<ifinfomsg>(message);
    if (info == nullptr ||
        (message.nlmsg_type != RTM_NEWLINK && message.nlmsg_type != RTM_DELLINK)) {
        return false;
    }
    // A bridge tells of its ports, too (AF_BRIDGE); such a message says less than the other one.
    if (info->ifi_family != AF_UNSPEC) {
        return false;
    }
    if (message.nlmsg_type == RTM_DELLINK) {
        return links_.erase(info->ifi_index) != 0;
    }
    const std::optional<Link> link = linkIn(message);
    if (!link || links_[info->ifi_index] == *link) {
        return false;
    }
    links_[info->ifi_index] = *link;
    return true;
}

bool Links::isCaptive(const std::string& name) const {
    return std::find(names_.begin(), names_.end(), name) != names_.end();
}

std::map<int, Link> Links::captive() const {
    std::map<int, Link> found;
    std::copy_if(links_.begin(), links_.end(), std::inserter(found, found.end()),
                 [this](const auto& one) { return isCaptive(one.second.name); });
    return found;
}

std::set<std::string> Links::networks() const {
    std::set<std::string> names;
    for (const auto& [index, link] : captive()) {
        const auto bridge = links_.find(link.master);
        names.insert(bridge == links_.end() ? link.name : bridge->second.name);
    }
    return names;
}

std::set<MacBytes> Links::ownMacs() const {
    std::set<MacBytes> macs;
    for (const auto& [index, link] : captive()) {
        macs.insert(link.mac);
        const auto bridge = links_.find(link.master);
        if (bridge != links_.end()) {
            macs.insert(bridge->second.mac);
        }
    }
    return macs;
}

const Link* Links::captiveDevice(int index) const {
    const auto found = links_.find(index);
    return found != links_.end() && isCaptive(found->second.name) ? &found->second : nullptr;
}

std::uint32_t Links::mtuOf(const std::string& name) const {
    const auto found = std::find_if(links_.begin(), links_.end(),
                                    [&name](const auto& one) { return one.second.name == name; });
    return found == links_.end() ? 0 : found->second.mtu;
}

std::optional<in_addr> addressOn(const std::set<std::string>& interfaces) {
    ifaddrs* all = nullptr;
    if (getifaddrs(&all) != 0) {
        return std::nullopt;
    }
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(all, freeifaddrs);
    for (const ifaddrs* one = all; one != nullptr; one = one->ifa_next) {
        if (one->ifa_addr != nullptr && one->ifa_addr->sa_family == AF_INET &&
            interfaces.count(one->ifa_name) != 0) {
            sockaddr_in address;
            std::memcpy(&address, one->ifa_addr, sizeof address);
            return address.sin_addr;
        }
    }
    return std::nullopt;
}

int gatewayTo(in_addr address, in_addr& gateway) {
    companion::NetlinkRequest request(RTM_GETROUTE, NLM_F_ACK);
    auto& route = request.header<rtmsg>();
    route.rtm_family = AF_INET;
    route.rtm_dst_len = 32;
    request.put(RTA_DST, &address, sizeof address);
    gateway = {};
    const auto read = [&gateway](const nlmsghdr& answer) {
        forEachAttribute(answer, sizeof(rtmsg), [&gateway](const nlattr& one) {
            if (mnl_attr_get_type(&one) == RTA_GATEWAY) {
                static_cast<void>(!readAttribute(one, gateway));
            }
        });
    };
    return -companion::NetlinkSocket(NETLINK_ROUTE).ask(request, read).error;
}

}  // namespace redirectord
