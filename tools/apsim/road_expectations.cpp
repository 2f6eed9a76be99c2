#include "apsim/road_expectations.h"

#include <algorithm>
#include <cstdlib>

namespace apsim {

namespace {

// A number may be written as a text.
bool isAtLeast(const Json& given, double bound) {
    return given.is_number() ? given.get<double>() >= bound
                             : std::strtod(plainText(given).c_str(), nullptr) >= bound;
}

bool isAsWanted(const Json& given, const Json& wanted) {
    return wanted.is_object() && wanted.contains("at-least")
               ? isAtLeast(given, wanted["at-least"].get<double>())
               : given == wanted;
}

// What of `wanted` is not so in `given`; empty when all of it is.
std::string difference(const Json& wanted, const Json& given, const std::string& who) {
    for (const auto& [name, value] : wanted.items()) {
        const auto found = given.find(name);
        if (found == given.end() || !isAsWanted(*found, value)) {
            return who + " has " + name + " " +
                   (found == given.end() ? "missing" : plainText(*found)) + ", not " +
                   plainText(value);
        }
    }
    return "";
}

std::string mismatchOfAccess(const Station& station, const Json& arguments) {
    const char* const access = accessName(station.access());
    if (arguments.contains("redirector") && arguments["redirector"] != access) {
        return std::string("redirector has it ") + access + ", not " +
               plainText(arguments["redirector"]);
    }
    for (const Json& destination : arguments.value("reaches", Json::array())) {
        if (!station.reaches(plainText(destination))) {
            return "it can't reach " + plainText(destination);
        }
    }
    for (const Json& destination : arguments.value("blocked", Json::array())) {
        if (station.reaches(plainText(destination))) {
            return "it reaches " + plainText(destination);
        }
    }
    return "";
}

std::string mismatchOfShaper(const Station& station, const Json& wanted) {
    const std::optional<ShaperLimits> limits =
        station.accessPoint().modules().shaperLimits(station.id());
    if (wanted.is_string()) {  // "none"
        return limits ? "shaper still limits it" : "";
    }
    if (!limits) {
        return "shaper was given no limits";
    }
    constexpr unsigned long kKi = 1024;
    const Json given{{"transmit", limits->transmit / kKi}, {"receive", limits->receive / kKi}};
    return difference(wanted, given, "shaper");
}

std::string mismatchOfWifiAuth(const Station& station, const Json& wanted) {
    for (const auto& [key, value] : wanted.items()) {
        const std::string given = station.accessPoint().modules().wifiAuth(key, station.id());
        if (given != plainText(value)) {
            return "wifi-auth has " + key + " \"" + given + "\", not " + plainText(value);
        }
    }
    return "";
}

std::string mismatchOfEvents(const Station& station, std::size_t mark, const Json& arguments) {
    EventLog& log = station.accessPoint().events();
    const auto happened = [&](Party party, const std::string& what) {
        return log.waitFor(party, what, station.id(), Milliseconds(0), mark);
    };
    if (arguments.contains("trap") && !happened(Party::trap, plainText(arguments["trap"]))) {
        return "no trap " + plainText(arguments["trap"]);
    }
    if (arguments.value("deauth", false) && !happened(Party::deauth, "deauth-client")) {
        return "deauth-client was not run";
    }
    const Json radius = arguments.value("radius", Json::object());
    for (const auto& [what, detail] : radius.items()) {
        const auto wanted = [&, &what = what, &detail = detail](const Event& event) {
            return event.party == Party::radius && event.what == what &&
                   event.station.mac == station.id().mac &&
                   event.detail.find(plainText(detail)) != std::string::npos;
        };
        if (!log.waitFor(wanted, Milliseconds(0), mark)) {
            return "RADIUS saw no " + what + " with \"" + plainText(detail) + "\"";
        }
    }
    return "";
}

// Of what the proxy is told.
std::string mismatchOfState(const Station& station, const Json& wanted) {
    const Json answer =
        station.accessPoint().portal().validateIp(station.ip()).value_or(Json::object());
    if (wanted.is_string()) {  // "unknown"
        return answer.value("result", 1) == 0 ? "" : "validate-ip still knows it";
    }
    return difference(wanted, answer.value("params", Json::object()), "validate-ip");
}

// Of what a status tool is told.
std::string mismatchOfClient(const Station& station, const Json& wanted) {
    const std::optional<Json> client = clientOf(station);
    if (!client) {
        return "the daemon doesn't answer";
    }
    if (wanted.is_string()) {  // "absent"
        return client->is_null() ? "" : "the daemon still has it";
    }
    return client->is_null() ? "the daemon doesn't have it"
                             : difference(wanted, *client, "the daemon");
}

}  // namespace

std::string firstMismatch(const Station& station, std::size_t mark, const Json& arguments) {
    std::string mismatch = mismatchOfAccess(station, arguments);
    if (mismatch.empty() && arguments.contains("shaper")) {
        mismatch = mismatchOfShaper(station, arguments["shaper"]);
    }
    if (mismatch.empty() && arguments.contains("wifi-auth")) {
        mismatch = mismatchOfWifiAuth(station, arguments["wifi-auth"]);
    }
    if (mismatch.empty()) {
        mismatch = mismatchOfEvents(station, mark, arguments);
    }
    if (mismatch.empty() && arguments.contains("state")) {
        mismatch = mismatchOfState(station, arguments["state"]);
    }
    if (mismatch.empty() && arguments.contains("client")) {
        mismatch = mismatchOfClient(station, arguments["client"]);
    }
    return mismatch;
}

std::optional<Json> clientOf(const Station& station) {
    const PortalClient::Answer answer = station.accessPoint().portal().status();
    if (!answer) {
        return std::nullopt;
    }
    const Json clients = answer->value("/value/clients"_json_pointer, Json::object());
    const auto client = std::find_if(clients.begin(), clients.end(), [&](const Json& one) {
        return one.value("mac", "") == station.id().mac &&
               one.value("interface", "") == station.id().interface;
    });
    return client == clients.end() ? Json() : *client;
}

std::string plainText(const Json& value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

}  // namespace apsim
