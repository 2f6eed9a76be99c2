#pragma once

// What a road expects of the daemon, compared with what the daemon did. Stateless; the functions
// ask the daemon, so they wait for its answers.

#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "apsim/access_point.h"

namespace apsim {

// What of the event "expect" with these arguments does not hold; empty when all of it does. `mark`
// is the log's size before the station's latest act.
std::string firstMismatch(const Station& station, std::size_t mark,
                          const nlohmann::json& arguments);

// The station's client in the daemon's "get" answer: null when it isn't there, nothing when the
// daemon gives no answer.
std::optional<nlohmann::json> clientOf(const Station& station);

// A text as it is, any other value as JSON.
std::string plainText(const nlohmann::json& value);

}  // namespace apsim
