#pragma once

// Stations that ask for pages, all behind one device of a namespace: each has a MAC, an IPv4
// address and a device of its own there.
//
// Threads: any, inside the namespace. Everything throws std::runtime_error when it takes ten
// seconds or another answer comes.

#include <chrono>
#include <cstddef>
#include <string>

#include "companions/redirectord/network.h"

namespace vesta::bench {

using Clock = std::chrono::steady_clock;

// The stations from 0, at most 240, quiet so far.
void makeStations(const testing::NetNamespace& space, std::size_t count);

// Where a captive station is sent that asks the internet for a page. A connection that is refused,
// as that of a station which is not known yet may be, is tried again.
std::string redirectOf(std::size_t station);

// As a browser does: redirect, page, post, and the internet's answer.
void logIn(std::size_t station);

}  // namespace vesta::bench
