#include "monitord/radio_stations.h"

#include <linux/genetlink.h>
#include <linux/nl80211.h>
#include <net/if.h>

namespace monitord {

using companion::forEachAttribute;
using companion::readAttribute;

void readRadioStation(const nlmsghdr& message, Time now, RadioList& list) {
    const auto* const header = companion::headerOf<genlmsghdr>(message);
    if (header == nullptr || header->cmd != NL80211_CMD_NEW_STATION) {
        return;
    }
    std::optional<Mac> mac;
    std::uint32_t seconds = 0;
    forEachAttribute(message, sizeof *header, [&](const nlattr& attribute) {
        Mac bytes{};
        if (mnl_attr_get_type(&attribute) == NL80211_ATTR_MAC && readAttribute(attribute, bytes)) {
            mac = bytes;
        } else if (mnl_attr_get_type(&attribute) == NL80211_ATTR_STA_INFO) {
            forEachAttribute(attribute, [&](const nlattr& info) {
                if (mnl_attr_get_type(&info) == NL80211_STA_INFO_CONNECTED_TIME) {
                    static_cast<void>(!readAttribute(info, seconds));
                }
            });
        }
    });
    if (mac) {
        list.insert_or_assign(*mac, now - Time{seconds} * 1000);
    }
}

std::uint16_t readFamily(const nlmsghdr& message) {
    std::uint16_t family = 0;
    forEachAttribute(message, sizeof(genlmsghdr), [&](const nlattr& attribute) {
        if (mnl_attr_get_type(&attribute) == CTRL_ATTR_FAMILY_ID) {
            static_cast<void>(!readAttribute(attribute, family));
        }
    });
    return family;
}

RadioStations::RadioStations() : socket_(NETLINK_GENERIC) {
    companion::NetlinkRequest request(GENL_ID_CTRL, NLM_F_ACK);
    request.header<genlmsghdr>().cmd = CTRL_CMD_GETFAMILY;
    request.put(CTRL_ATTR_FAMILY_NAME, NL80211_GENL_NAME);
    const auto end =
        socket_.ask(request, [this](const nlmsghdr& message) { family_ = readFamily(message); });
    if (end.error != 0) {
        ostrel::report(ostrel::LogLevel::debug, "the kernel knows no radios");
    }
}

std::optional<RadioList> RadioStations::of(const std::string& device, Time now) {
    const unsigned int index = family_ != 0 ? if_nametoindex(device.c_str()) : 0;
    if (index == 0) {
        return std::nullopt;
    }
    companion::NetlinkRequest request(family_, NLM_F_DUMP);
    request.header<genlmsghdr>().cmd = NL80211_CMD_GET_STATION;
    request.putU32(NL80211_ATTR_IFINDEX, index);
    RadioList list;
    const auto end = socket_.ask(
        request, [&](const nlmsghdr& message) { readRadioStation(message, now, list); });
    return end.error == 0 ? std::optional(std::move(list)) : std::nullopt;
}

}  // namespace monitord
