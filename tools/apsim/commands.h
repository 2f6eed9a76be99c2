#pragma once

// What the program does beside parsing its command line.
//
// Threads: for main(); every thread must have the signals of endingSignals() blocked.

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace apsim {

enum Status { kAsExpected = 0, kNotAsExpected = 1, kWrongInput = 2, kInterrupted = 130 };

struct Options {
    std::string config;
    std::vector<std::string> second;  // configuration and runtime directory of another access point
    std::vector<std::string> roads;
    std::string radius;  // HOST:PORT of a RADIUS server; "": the built-in one
    std::string secret;
    std::size_t stations = 0;
    double rate = 100;
    int wait = 30;  // seconds
    bool stay = false;
    bool quiet = false;
};

// Both return the exit status and throw InputError for what the user gave.
int playRoad(const Options& options);
int makeLoad(const Options& options, const nlohmann::json& config);

}  // namespace apsim
