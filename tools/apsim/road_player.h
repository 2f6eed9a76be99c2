#pragma once

// Plays a road on an access point and judges what comes of it.
//
// Threads: play() runs each station on a thread of its own and returns when all are through; stop()
// may be called from any thread.

#include <atomic>
#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "apsim/access_point.h"
#include "apsim/road.h"

namespace apsim {

struct StationResult {
    std::string name;
    std::string expected;
    std::string happened;  // the states that the redirector went through
    std::string failure;   // what was not as expected; empty when all was
};

class RoadPlayer {
public:
    // A station is on the access point that has its interface, else on the first. They outlive the
    // player and write to one log. `radiusSecret` signs the Disconnect-Requests.
    explicit RoadPlayer(std::vector<AccessPoint*> accessPoints, std::string radiusSecret = "");

    // Plays the road once. A station whose expectation fails does nothing more than leave.
    std::vector<StationResult> play(const Road& road);

    // Makes play() return soon; what was not played counts as failed.
    void stop();

private:
    using Time = std::chrono::steady_clock::time_point;

    // What one station's thread works with.
    struct Walk {
        const RoadStation& plan;
        Station station;
        std::size_t mark = 0;  // the log's size before the latest act
    };

    StationResult walk(const RoadStation& plan, Time start);
    [[nodiscard]] Station stationAt(const std::string& interface, const RoadStation& plan) const;
    std::string perform(Walk& walk, const RoadEvent& event);
    void askDaemon(Walk& walk, const RoadEvent& event);
    void roam(Walk& walk, const std::string& interface);
    std::string killDaemon(const Walk& walk);
    void browse(const Walk& walk);
    void spreadTraffic(Walk& walk, const nlohmann::json& arguments);
    std::string expect(const Walk& walk, const nlohmann::json& arguments);
    std::string disconnectByRadius(const Walk& walk, const nlohmann::json& arguments);
    std::string history(const Walk& walk, std::size_t from);
    void answered(const Walk& walk, const char* request, const PortalClient::Answer& answer);
    bool pauseUntil(Time time);

    const std::vector<AccessPoint*> accessPoints_;
    EventLog& log_;
    const std::string radiusSecret_;
    std::atomic<bool> stopped_{false};
};

}  // namespace apsim
