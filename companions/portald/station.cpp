#include "portald/station.h"

#include <algorithm>

namespace portald {
namespace {

const Json& member(const Json& object, const char* key) {
    static const Json kNone;
    const auto found = object.is_object() ? object.find(key) : object.end();
    return found != object.end() ? *found : kNone;
}

std::string text(const Json& object, const char* key) {
    const Json& value = member(object, key);
    return value.is_string() ? value.get<std::string>() : "";
}

std::int64_t number(const Json& object, const char* key) {
    const Json& value = member(object, key);
    return value.is_number_integer() ? value.get<std::int64_t>() : 0;
}

// Counters come as the low 32 bits of a byte count, and as a signed number.
std::int64_t counter(const Json& object, const char* key) {
    return static_cast<std::int64_t>(static_cast<std::uint32_t>(number(object, key)));
}

void limitTime(Remaining& remaining, std::int64_t limit, std::int64_t used) {
    if (limit <= 0) {
        return;
    }
    const std::int64_t left = std::max<std::int64_t>(0, limit - used);
    if (!remaining.seconds || left < *remaining.seconds) {
        remaining.seconds = left;
        remaining.secondsInAll = limit;
    }
}

}  // namespace

std::optional<Station> stationOf(const Json& answer) {
    const Json& params = member(answer, "params");
    Station station;
    station.mac = text(params, "cli-mac");
    if (number(answer, "result") != 1 || station.mac.empty()) {
        return std::nullopt;
    }
    station.ip = text(params, "cli-ip");
    station.ssid = text(params, "ssid");
    station.login = text(params, "cli-login");
    station.portalName = text(params, "virtual-portal-name");
    station.accessPointIp = text(params, "nas-ip");
    // Only a station without access has a place to be sent to.
    station.admitted = member(params, "url").is_null();
    station.redirectUrl = text(params, "url");
    station.endReason = text(params, "end-reason");
    return station;
}

Remaining remainingOf(const Json& answer) {
    const Json& station = member(member(answer, "value"), "0");
    const Json& current = member(station, "scenario-id-cur");
    Remaining remaining;
    for (const Json& scenario : member(station, "scenario")) {
        if (current.is_null() || member(scenario, "ID") != current) {
            continue;
        }
        limitTime(remaining, number(scenario, "session-timeout"), number(scenario, "session-time"));
        limitTime(remaining, number(scenario, "time-limit"), number(scenario, "time-limit-cur"));
        const std::int64_t bytes = counter(scenario, "traffic-limit");
        if (bytes > 0) {
            remaining.bytes =
                std::max<std::int64_t>(0, bytes - counter(scenario, "traffic-limit-cur"));
            remaining.bytesInAll = bytes;
        }
    }
    return remaining;
}

std::string interfaceOf(const Json& answer, const Station& station) {
    for (const Json& client : member(member(answer, "value"), "clients")) {
        if (text(client, "mac") == station.mac && text(client, "ip") == station.ip &&
            text(client, "ssid") == station.ssid) {
            return text(client, "interface");
        }
    }
    return "";
}

Json validateIpRequest(const std::string& ip) {
    return {{"command", "validate-ip"}, {"params", {{"ipaddr", ip}}}};
}

Json scenariosRequest(const Station& station) {
    return {{"command", "get-scenarios"}, {"mac", station.mac}, {"ssid", station.ssid}};
}

}  // namespace portald
