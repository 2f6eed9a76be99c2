#pragma once

// A load generator: many stations that arrive at a steady rate, log in and have traffic.

#include <atomic>
#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "apsim/access_point.h"

namespace apsim {

// As many as one instance of vestad takes.
inline constexpr std::size_t kMostStations = 65536;

struct LoadOptions {
    std::size_t stations = 1000;     // at most kMostStations
    double rate = 100;               // arrivals a second
    std::chrono::seconds grace{30};  // how long stragglers are waited for after the last arrival
};

struct LoadReport {
    std::size_t stations = 0;
    std::size_t admitted = 0;    // the redirector was told of them
    std::size_t loggedIn = 0;    // the redirector let them through
    std::size_t unanswered = 0;  // logins to which no answer came
    double seconds = 0;
    // Milliseconds, in ascending order. From the notification until the redirector was told; it
    // includes the wait for the next statistics, up to a second.
    std::vector<double> admission;
    // From the login until the redirector let the station through.
    std::vector<double> login;
    // From the login until its answer.
    std::vector<double> answer;
};

// A configuration with one VAP where a login is enough.
Json builtInConfiguration();

// Runs until every station is logged in, or the time is over, or `stop` is set. Stations are spread
// over `interfaces` (at least one). The access point is this run's own.
LoadReport runLoad(AccessPoint& accessPoint, const std::vector<std::string>& interfaces,
                   const LoadOptions& options, const std::atomic<bool>& stop);

// The value below which `share` (0 to 1) of the ascending `values` lie; 0 without values.
double percentile(const std::vector<double>& values, double share);

}  // namespace apsim
