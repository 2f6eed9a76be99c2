#pragma once

// The statistics of the stations as they travel over the bus.
//
// Threads: one at a time.

#include <string>
#include <vector>

#include "monitord/stations.h"

namespace monitord {

// The frames of the answer about all stations that are there, with "more": true in all but the
// last. `context` is the JSON text of the request's, or "".
[[nodiscard]] std::vector<std::string> statisticsAnswer(const Stations& stations,
                                                        const std::string& context, Time now);

}  // namespace monitord
