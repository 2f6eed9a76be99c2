#pragma once

// Cuts off a station that no radio can throw off: the kernel forgets it and its connections, so
// that whatever it sends is looked at anew.
//
// Threads: one at a time.

#include "netlink/station_key.h"

namespace deauth {

// Deletes the station's entries in the neighbour and bridge tables and the connections of its
// addresses. False, and one report for each failure, when the kernel refuses a part of it; a
// station of which it knows nothing is no failure.
[[nodiscard]] bool cutFlows(const companion::StationKey& station);

}  // namespace deauth
