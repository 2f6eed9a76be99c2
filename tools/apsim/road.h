#pragma once

// A road: what some stations do, when, and what is expected to come of it. It is a JSON file:
//
//     {"stations": [{"name": "anna", "interface": "wlan0-va1", "mac": "02:00:00:00:01:01",
//                    "ip": "10.1.0.11", "story": "logs in and gets 2 MiB/s"}, ...],
//      "events": [{"station": "anna", "at": 0.5, "do": "arrive"},
//                 {"station": "anna", "do": "expect", "redirector": "unauthed"}, ...]}
//
// The events of one station happen one after another, those of different stations side by side.
// "at" is the earliest time in seconds since the start of the road, "after" a pause in seconds
// since the station's event before; docs/apsim.md lists the events, and what "radius" beside
// "stations" holds.

#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "apsim/event_log.h"
#include "apsim/input.h"
#include "apsim/radius_responder.h"

namespace apsim {

struct RoadEvent {
    std::string kind;          // the text under "do"
    double at = 0;             // seconds since the start
    double after = 0;          // seconds since the event before
    nlohmann::json arguments;  // the whole event, checked
};

struct RoadStation {
    std::string name;
    std::string story;  // what is expected, for people
    StationId id;
    std::string ip;
    std::vector<RoadEvent> events;
};

struct Road {
    std::vector<RoadStation> stations;
    std::optional<RadiusBook> radius;  // whom the RADIUS server of this road knows
};

// Checks a road as a whole, so that a mistake in its last event shows before the first is played.
// `name` stands for the file in messages. Throws InputError, naming file and event.
Road parseRoad(const nlohmann::json& document, const std::string& name);

// Takes out what a road expects of the built-in RADIUS server, for another one that tells nothing.
void forgetRadiusExpectations(Road& road);

Road loadRoad(const std::string& path);

// The stations of all roads, and whom the RADIUS server of the first one that has any knows.
Road joinRoads(std::vector<Road> roads);

// Throws InputError when a station is, or walks to, an interface that is none of `interfaces`.
void checkInterfaces(const Road& road, const std::set<std::string>& interfaces,
                     const std::string& name);

}  // namespace apsim
