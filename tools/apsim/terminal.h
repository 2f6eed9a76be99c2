#pragma once

// What a person at the terminal sees: the events as they happen, and what came of it.
//
// Threads: Printer prints one event at a time; the caller sees to that. The rest keeps no state.

#include <chrono>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "apsim/event_log.h"
#include "apsim/road_player.h"

namespace apsim {

// Whether `stream` is a terminal whose user has not asked for plain text (NO_COLOR).
bool wantsColour(std::FILE* stream);

class Printer {
public:
    // `names` gives the stations their names, by MAC; an unnamed one is printed with that.
    Printer(std::FILE* stream, bool colour, std::map<std::string, std::string> names);

    // One line: seconds since the first event, party, station, interface, what, detail.
    void print(const Event& event);

private:
    std::FILE* stream_;
    bool colour_;
    std::map<std::string, std::string> names_;
    std::chrono::steady_clock::time_point start_{};
};

// What happened to each station, one row each.
void printResults(std::FILE* stream, bool colour, const std::vector<StationResult>& results);

}  // namespace apsim
