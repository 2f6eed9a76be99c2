#pragma once

// The daemon's answers as text for people. Members that are missing or of another type than
// expected are left blank, so that a tool and a daemon of different age get along.

#include <nlohmann/json.hpp>
#include <string>

namespace vestactl {

// The clients of a "get" answer as a table, then their number.
std::string statusReport(const nlohmann::json& answer);

// The scenarios of every client of a "get-scenarios" answer.
std::string scenariosReport(const nlohmann::json& answer);

// What the proxy would learn of a station from a "validate-ip" answer.
std::string stationReport(const nlohmann::json& answer);

}  // namespace vestactl
