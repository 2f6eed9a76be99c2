#pragma once

// What monitord knows of its stations, kept in a file of the runtime directory, so that after a
// restart none of them looks new or gone. The times in it count from the machine's start, and it is
// void after another one.
//
// Threads: one at a time.

#include <string>

#include "monitord/stations.h"

namespace monitord {

class StationFile {
public:
    explicit StationFile(std::string path) : path_(std::move(path)) {}

    // Gives the stations what an earlier process has kept. A file that is missing, damaged or of
    // another start of the machine gives nothing.
    void load(Stations& stations, Time now) const;
    // Replaces the file when a station has come or gone since. One report until it succeeds again.
    void save(const Stations& stations);

private:
    [[nodiscard]] bool write(const std::string& text) const;

    const std::string path_;
    unsigned long long saved_ = 0;  // Stations::changes() of the file
    bool failing_ = false;
};

}  // namespace monitord
