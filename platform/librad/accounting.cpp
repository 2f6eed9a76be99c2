#include "accounting.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "ostrel/clock.h"

namespace ostrel::radius {
namespace {

constexpr std::uint32_t kWireless80211 = 19;  // NAS-Port-Type, RFC 2865 section 5.41

bool addText(librad_radius_msg& msg, std::uint8_t type, const std::string& text) {
    return text.empty() || librad_radius_msg_add_attr(&msg, type, text.data(), text.size());
}

// Upper case with dashes (RFC 3580 sections 3.20 and 3.21); "" for the zero address.
std::string macText(const std::array<std::uint8_t, 6>& mac) {
    if (mac == std::array<std::uint8_t, 6>{}) {
        return "";
    }
    char text[18];
    std::snprintf(text, sizeof text, "%02X-%02X-%02X-%02X-%02X-%02X", mac[0], mac[1], mac[2],
                  mac[3], mac[4], mac[5]);
    return text;
}

bool addStation(librad_radius_msg& msg, const librad_radius_sta_info& sta) {
    const std::string called = macText(sta.calledMac);
    const std::string ssid = called.empty() || sta.ssid.empty() ? "" : ":" + sta.ssid;
    bool good =
        addText(msg, LIBRAD_RADIUS_ATTR_USER_NAME, sta.userName) &&
        addText(msg, LIBRAD_RADIUS_ATTR_CALLING_STATION_ID, macText(sta.mac)) &&
        addText(msg, LIBRAD_RADIUS_ATTR_CALLED_STATION_ID, called + ssid) &&
        librad_radius_msg_add_attr_int32(&msg, LIBRAD_RADIUS_ATTR_NAS_PORT, sta.vapIndex) &&
        addText(msg, LIBRAD_RADIUS_ATTR_NAS_PORT_ID, sta.interfaceText) &&
        librad_radius_msg_add_attr_int32(&msg, LIBRAD_RADIUS_ATTR_NAS_PORT_TYPE, kWireless80211);
    for (const std::string& value : sta.classes) {
        good = good && addText(msg, LIBRAD_RADIUS_ATTR_CLASS, value);
    }
    return good;
}

bool addBytes(librad_radius_msg& msg, std::uint8_t octets, std::uint8_t gigawords,
              std::uint64_t bytes) {
    return librad_radius_msg_add_attr_int32(&msg, octets, static_cast<std::uint32_t>(bytes)) &&
           librad_radius_msg_add_attr_int32(&msg, gigawords,
                                            static_cast<std::uint32_t>(bytes >> 32));
}

// Input is what the station sent, which is what the access point received.
bool addTraffic(librad_radius_msg& msg, const librad_radius_sta_traffic& traffic) {
    const auto seconds = static_cast<std::uint32_t>(monotonicSeconds() - traffic.startedAt);
    return librad_radius_msg_add_attr_int32(&msg, LIBRAD_RADIUS_ATTR_ACCT_SESSION_TIME, seconds) &&
           addBytes(msg, LIBRAD_RADIUS_ATTR_ACCT_INPUT_OCTETS,
                    LIBRAD_RADIUS_ATTR_ACCT_INPUT_GIGAWORDS, traffic.rxBytes) &&
           addBytes(msg, LIBRAD_RADIUS_ATTR_ACCT_OUTPUT_OCTETS,
                    LIBRAD_RADIUS_ATTR_ACCT_OUTPUT_GIGAWORDS, traffic.txBytes) &&
           librad_radius_msg_add_attr_int32(&msg, LIBRAD_RADIUS_ATTR_ACCT_INPUT_PACKETS,
                                            traffic.rxPackets) &&
           librad_radius_msg_add_attr_int32(&msg, LIBRAD_RADIUS_ATTR_ACCT_OUTPUT_PACKETS,
                                            traffic.txPackets);
}

// An update or a Stop, as far as they are alike.
MessagePtr newReport(StatusType type, const librad_radius_client_config* config,
                     librad_radius_sta_info* sta, const librad_radius_sta_stats* stats) {
    if (config == nullptr || config->acctServers.empty() || sta == nullptr || !sta->started) {
        return nullptr;
    }
    if (stats != nullptr) {
        librad_radius_sta_set_counters(sta, stats);
    }
    MessagePtr msg = newAccountingRequest(type, sta->acctSessionIdLow);
    if (msg == nullptr || !addStation(*msg, *sta) || !addTraffic(*msg, sta->traffic)) {
        return nullptr;
    }
    return msg;
}

}  // namespace

MessagePtr newAccountingRequest(StatusType type, std::uint32_t sessionLow) {
    MessagePtr msg(librad_radius_msg_new(LIBRAD_RADIUS_CODE_ACCOUNTING_REQUEST, 0));
    if (msg == nullptr ||
        !librad_radius_msg_add_attr_int32(msg.get(), LIBRAD_RADIUS_ATTR_ACCT_STATUS_TYPE,
                                          static_cast<std::uint32_t>(type)) ||
        !addText(*msg, LIBRAD_RADIUS_ATTR_ACCT_SESSION_ID, sessionText(sessionLow)) ||
        !librad_radius_msg_add_attr_int32(msg.get(), LIBRAD_RADIUS_ATTR_EVENT_TIMESTAMP,
                                          static_cast<std::uint32_t>(wallSeconds())) ||
        !librad_radius_msg_add_attr_int32(msg.get(), LIBRAD_RADIUS_ATTR_ACCT_DELAY_TIME, 0)) {
        return nullptr;
    }
    return msg;
}

void noteCounters(librad_radius_sta_traffic& traffic, const ostrel::StationCounters& now) {
    if ((now.rxBytes | now.txBytes) == 0 && (now.rxPackets | now.txPackets) == 0) {
        return;
    }
    const ostrel::StationCounters& last = traffic.last;
    if (now.rxBytes < last.rxBytes || now.txBytes < last.txBytes || now.uptime < last.uptime) {
        traffic.last = {};
    }
    traffic.rxBytes += now.rxBytes - last.rxBytes;
    traffic.txBytes += now.txBytes - last.txBytes;
    // Packets may have wrapped at 32 bits, which the difference survives.
    traffic.rxPackets += now.rxPackets - last.rxPackets;
    traffic.txPackets += now.txPackets - last.txPackets;
    traffic.last = now;
}

}  // namespace ostrel::radius

using namespace ostrel::radius;

void librad_radius_sta_set_counters(librad_radius_sta_info* sta,
                                    const librad_radius_sta_stats* stats) {
    noteCounters(sta->traffic, *stats);
    if (stats->interfaceText[0] != '\0') {
        sta->interfaceText.assign(stats->interfaceText,
                                  strnlen(stats->interfaceText, sizeof stats->interfaceText));
    }
}

bool librad_add_acct_session_id_attr(librad_radius_msg* msg, const librad_radius_client_config*,
                                     std::uint32_t id) {
    return id != 0 && addText(*msg, LIBRAD_RADIUS_ATTR_ACCT_SESSION_ID, sessionText(id));
}

librad_radius_msg* librad_create_accounting_sta_start(const librad_radius_client_config* config,
                                                      librad_radius_sta_info* sta) {
    if (config == nullptr || config->acctServers.empty() || sta == nullptr || sta->started) {
        return nullptr;
    }
    MessagePtr msg = newAccountingRequest(StatusType::start, sta->acctSessionIdLow);
    if (msg == nullptr || !addStation(*msg, *sta)) {
        return nullptr;
    }
    const ostrel::StationCounters last = sta->traffic.last;
    sta->traffic = {};
    sta->traffic.last = last;
    sta->traffic.startedAt = ostrel::monotonicSeconds();
    sta->started = true;
    return msg.release();
}

librad_radius_msg* librad_create_accounting_sta_update(const librad_radius_client_config* config,
                                                       librad_radius_sta_info* sta,
                                                       const librad_radius_sta_stats* stats) {
    return newReport(StatusType::interimUpdate, config, sta, stats).release();
}

librad_radius_msg* librad_create_accounting_sta_stop(const librad_radius_client_config* config,
                                                     librad_radius_sta_info* sta,
                                                     const librad_radius_sta_stats* stats) {
    MessagePtr msg = newReport(StatusType::stop, config, sta, stats);
    if (msg == nullptr ||
        !librad_radius_msg_add_attr_int32(msg.get(), LIBRAD_RADIUS_ATTR_ACCT_TERMINATE_CAUSE,
                                          sta->terminateCause)) {
        return nullptr;
    }
    sta->started = false;
    renewSession(*sta);
    return msg.release();
}
