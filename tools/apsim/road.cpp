#include "apsim/road.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "ostrel/addresses.h"

namespace apsim {

namespace {

using Json = nlohmann::json;

enum class Kind { text, number, flag, list, object, objectOrWord, word };

struct Argument {
    Kind kind;
    bool required;
    std::vector<std::string> words = {};  // the only texts that are allowed
};

using Arguments = std::map<std::string, Argument>;

const std::map<std::string, Arguments>& eventKinds() {
    static const std::map<std::string, Arguments> kinds{
        {"associate", {}},
        {"packet", {}},
        {"arrive", {}},
        {"leave", {}},
        {"browse", {}},
        {"disconnect", {}},
        {"kill-daemon", {}},
        {"roam", {{"interface", {Kind::text, true}}}},
        {"traffic",
         {{"rx", {Kind::number, true}},
          {"tx", {Kind::number, true}},
          {"seconds", {Kind::number, false}}}},
        {"login", {{"login", {Kind::text, true}}, {"password", {Kind::text, true}}}},
        {"update-scenario",
         {{"scenarios", {Kind::list, true}}, {"permitted-ip-list", {Kind::list, false}}}},
        {"update",
         {{"cur-scenario-id", {Kind::text, true}}, {"constraints", {Kind::object, false}}}},
        {"radius-disconnect",
         {{"by", {Kind::word, true, {"mac", "user", "session"}}},
          {"user", {Kind::text, false}},
          {"answer", {Kind::word, false, {"ACK", "NAK", "none"}}}}},
        {"expect",
         {{"redirector", {Kind::word, false, {"unauthed", "authed", "drop", "forgotten"}}},
          {"reaches", {Kind::list, false}},
          {"blocked", {Kind::list, false}},
          {"shaper", {Kind::objectOrWord, false, {"none"}}},
          {"wifi-auth", {Kind::object, false}},
          {"trap", {Kind::text, false}},
          {"deauth", {Kind::flag, false}},
          {"radius", {Kind::object, false}},
          {"state", {Kind::objectOrWord, false, {"unknown"}}},
          {"client", {Kind::objectOrWord, false, {"absent"}}},
          {"within", {Kind::number, false}}}},
    };
    return kinds;
}

bool isOneOf(const Json& value, const std::vector<std::string>& words) {
    return std::find(words.begin(), words.end(), value) != words.end();
}

// "\"a\" or \"b\"".
std::string quoted(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "\"" : " or \"") + word + "\"";
    }
    return text;
}

bool fits(const Json& value, const Argument& argument) {
    switch (argument.kind) {
        case Kind::text:
            return value.is_string();
        case Kind::number:
            return value.is_number() && value.get<double>() >= 0;
        case Kind::flag:
            return value.is_boolean();
        case Kind::list:
            return value.is_array();
        case Kind::object:
            return value.is_object();
        case Kind::objectOrWord:
            return value.is_object() || isOneOf(value, argument.words);
        case Kind::word:
            return isOneOf(value, argument.words);
    }
    return false;
}

std::string kindText(const Argument& argument) {
    switch (argument.kind) {
        case Kind::text:
            return "a text";
        case Kind::number:
            return "a number, not negative";
        case Kind::flag:
            return "true or false";
        case Kind::list:
            return "an array";
        case Kind::object:
            return "an object";
        case Kind::objectOrWord:
            return "an object or " + quoted(argument.words);
        case Kind::word:
            return quoted(argument.words);
    }
    return "";
}

// Whether every member of `object` is a known one of the right kind, and the required are there.
void check(const Json& object, const Arguments& arguments, const std::string& place) {
    if (!object.is_object()) {
        throw InputError(place + ": is no object");
    }
    for (const auto& [name, value] : object.items()) {
        const auto known = arguments.find(name);
        if (known == arguments.end()) {
            throw InputError(place + ": knows no \"" + name + "\"");
        }
        if (!fits(value, known->second)) {
            throw InputError(place + ": \"" + name + "\" must be " + kindText(known->second));
        }
    }
    for (const auto& [name, argument] : arguments) {
        if (argument.required && !object.contains(name)) {
            throw InputError(place + ": \"" + name + "\" is missing");
        }
    }
}

const Json& arrayOf(const Json& document, const char* key, const std::string& name) {
    const auto found = document.find(key);
    if (found == document.end() || !found->is_array()) {
        throw InputError(name + ": has no array \"" + key + "\"");
    }
    return *found;
}

RoadStation parseStation(const Json& object, const std::string& place) {
    check(object,
          {{"name", {Kind::text, true}},
           {"interface", {Kind::text, true}},
           {"mac", {Kind::text, true}},
           {"ip", {Kind::text, true}},
           {"story", {Kind::text, false}}},
          place);
    const std::string name = object["name"];
    const auto mac = ostrel::parseColonMac(object["mac"].get<std::string>());
    if (!mac) {
        throw InputError(place + " (\"" + name + "\"): \"mac\" is no MAC address");
    }
    // In the redirector's records 0.0.0.0 stands for no address.
    if (ostrel::parseIpv4(object["ip"]).value_or(in_addr{}).s_addr == 0) {
        throw InputError(place + " (\"" + name + "\"): \"ip\" is no IPv4 address");
    }
    return {name,
            object.value("story", ""),
            {object["interface"], ostrel::macText(*mac)},
            object["ip"],
            {}};
}

RoadEvent parseEvent(const Json& object, std::string place) {
    const Json kind = object.is_object() ? object.value("do", Json()) : Json();
    if (!kind.is_string()) {
        throw InputError(place + ": has no text \"do\"");
    }
    const auto known = eventKinds().find(kind.get<std::string>());
    place += " (" + kind.dump() + ")";
    if (known == eventKinds().end()) {
        throw InputError(place + ": is no known event");
    }
    Arguments arguments = known->second;
    arguments.insert({{"do", {Kind::text, true}},
                      {"station", {Kind::text, true}},
                      {"at", {Kind::number, false}},
                      {"after", {Kind::number, false}}});
    check(object, arguments, place);
    return {known->first, object.value("at", 0.0), object.value("after", 0.0), object};
}

}  // namespace

Road parseRoad(const Json& document, const std::string& name) {
    Road road;
    if (document.contains("radius")) {
        road.radius = RadiusBook::parse(document["radius"], name + ": \"radius\"");
    }
    std::size_t number = 0;
    for (const Json& object : arrayOf(document, "stations", name)) {
        road.stations.push_back(
            parseStation(object, name + ": station " + std::to_string(++number)));
    }
    number = 0;
    for (const Json& object : arrayOf(document, "events", name)) {
        const std::string place = name + ": event " + std::to_string(++number);
        RoadEvent event = parseEvent(object, place);
        const auto station = std::find_if(
            road.stations.begin(), road.stations.end(),
            [&](const RoadStation& one) { return one.name == event.arguments["station"]; });
        if (station == road.stations.end()) {
            throw InputError(place + " (\"" + event.kind + "\"): knows no station " +
                             event.arguments["station"].dump());
        }
        if (!road.radius &&
            (event.kind == "radius-disconnect" || event.arguments.contains("radius"))) {
            throw InputError(place + " (\"" + event.kind +
                             "\"): the road has no object \"radius\"");
        }
        station->events.push_back(std::move(event));
    }
    return road;
}

void forgetRadiusExpectations(Road& road) {
    for (RoadStation& station : road.stations) {
        for (RoadEvent& event : station.events) {
            event.arguments.erase("radius");
        }
    }
}

Road loadRoad(const std::string& path) {
    return parseRoad(loadJsonObject(path), path);
}

Road joinRoads(std::vector<Road> roads) {
    Road all;
    for (Road& road : roads) {
        for (RoadStation& station : road.stations) {
            all.stations.push_back(std::move(station));
        }
        if (!all.radius) {
            all.radius = std::move(road.radius);
        }
    }
    return all;
}

void checkInterfaces(const Road& road, const std::set<std::string>& interfaces,
                     const std::string& name) {
    const auto check = [&](const RoadStation& station, const std::string& interface) {
        if (interfaces.count(interface) == 0) {
            throw InputError(name + ": station \"" + station.name +
                             "\": the configuration has no interface " + interface);
        }
    };
    for (const RoadStation& station : road.stations) {
        check(station, station.id.interface);
        for (const RoadEvent& event : station.events) {
            if (event.kind == "roam") {
                check(station, event.arguments["interface"]);
            }
        }
    }
}

}  // namespace apsim
