#pragma once

// The stations of a measurement, by number, and the access point's configuration for them.

#include <cstddef>
#include <string>

namespace vesta::bench {

std::string macOf(std::size_t station);
std::string ipOf(std::size_t station);
std::string loginOf(std::size_t station);

// "wlan0-va1", ...
std::string interfaceOf(std::size_t instance);
std::string ssidOf(std::size_t instance);

// A configuration document with this many VAPs in local mode. Three scenarios a station, with all
// limits set, so that every expiry check has something to compare; none is reached in a run.
std::string configurationText(std::size_t instances);

}  // namespace vesta::bench
