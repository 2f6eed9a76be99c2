#pragma once

// The statistics of the stations as they travel over the bus.
//
// Threads: one at a time.

#include <string>

#include "monitord/stations.h"

namespace monitord {

// The answer about all stations that are there. `context` is the JSON text of the request's, or "".
[[nodiscard]] std::string statisticsAnswer(const Stations& stations, const std::string& context,
                                           Time now);

}  // namespace monitord
