#pragma once

// What vestad tells of a station. Values, without threads.

#include <cstdint>
#include <optional>
#include <string>

#include "portald/daemon.h"

namespace portald {

struct Station {
    std::string mac;
    std::string ip;
    std::string ssid;
    std::string login;
    std::string portalName;  // whose pages it gets
    std::string accessPointIp;
    bool admitted = false;
    std::string redirectUrl;  // as configured
    std::string endReason;    // "time-over", "traffic-over", "session-over" or anything else
};

// The station of a "validate-ip" answer; nothing when it speaks of none.
[[nodiscard]] std::optional<Station> stationOf(const Json& answer);

// What is left of the station's limits; nothing where there is none.
struct Remaining {
    std::optional<std::int64_t> seconds;
    std::optional<std::int64_t> secondsInAll;  // of the limit that ends first
    std::optional<std::int64_t> bytes;
    std::optional<std::int64_t> bytesInAll;
};

// From a "get-scenarios" answer about one station: of its current scenario.
[[nodiscard]] Remaining remainingOf(const Json& answer);

// The VAP's interface of the station in a "get" answer; "" when it isn't there.
[[nodiscard]] std::string interfaceOf(const Json& answer, const Station& station);

[[nodiscard]] Json validateIpRequest(const std::string& ip);
[[nodiscard]] Json scenariosRequest(const Station& station);

}  // namespace portald
