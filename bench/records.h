#pragma once

// What apbd tells of the stations of a measurement, in the words of another access point: written
// by the daemon's own dialect. The stations are on the SSID of the first instance.

#include <cstddef>
#include <string>

namespace vesta::bench {

// The answer to a subscription, with a whole record of each of `count` stations: three scenarios,
// the station is in the first of them and authorised.
std::string subscriptionAnswer(std::size_t first, std::size_t count);

std::string addNotify(std::size_t station);
// The station is on another access point.
std::string updateNotify(std::size_t station);
std::string delNotify(std::size_t station);

}  // namespace vesta::bench
