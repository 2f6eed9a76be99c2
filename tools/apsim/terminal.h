#pragma once

// What a person at the terminal sees: the events as they happen, and what came of it.
//
// Threads: Printer prints one event at a time; the caller sees to that. The rest keeps no state.

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "apsim/event_log.h"
#include "apsim/road_player.h"

namespace apsim {

// How text has to look on a stream.
struct Look {
    bool colour = false;
    std::size_t columns = 0;  // 0: lines of any length
    std::size_t rows = 0;     // 0: any number of lines
};

// A terminal's size, and colour unless its user has asked for plain text (NO_COLOR).
Look lookOf(std::FILE* stream);

class Printer {
public:
    // `names` gives the stations their names, by MAC; an unnamed one is printed with that.
    Printer(std::FILE* stream, std::map<std::string, std::string> names);

    // One line: seconds since the first event, party, station, interface, what, detail.
    void print(const Event& event);

private:
    std::FILE* stream_;
    const Look look_;
    std::map<std::string, std::string> names_;
    std::chrono::steady_clock::time_point start_{};
};

// What happened to each station, one row each, and below what was not as expected. On a terminal
// all of it is to be seen at once.
void printResults(std::FILE* stream, const std::vector<StationResult>& results);

}  // namespace apsim
