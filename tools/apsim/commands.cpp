#include "apsim/commands.h"

#include <algorithm>
#include <cstdio>
#include <deque>
#include <map>
#include <optional>
#include <set>

#include "apsim/access_point.h"
#include "apsim/input.h"
#include "apsim/load.h"
#include "apsim/radius_server.h"
#include "apsim/road_player.h"
#include "apsim/signal_watcher.h"
#include "apsim/terminal.h"
#include "common/table.h"

namespace apsim {

namespace {

std::vector<std::string> captiveInterfaces(const Json& config) {
    std::vector<std::string> names;
    for (const Json& entry : config.at("interface")) {
        if (entry.value("/vap/captive-portal/enabled"_json_pointer, false)) {
            names.push_back(entry.at("name"));
        }
    }
    return names;
}

bool waitForDaemon(AccessPoint& accessPoint, const Options& options,
                   const std::atomic<bool>& stopped) {
    if (stopped) {
        return false;
    }
    std::printf("waiting for vestad in %s\n", accessPoint.runtimeDirectory().c_str());
    std::fflush(stdout);
    for (int second = 0; second < options.wait && !stopped; ++second) {
        if (accessPoint.waitForDaemon(std::chrono::seconds(1))) {
            return true;
        }
    }
    if (!stopped) {
        std::fprintf(stderr, "apsim: vestad did not come within %d s\n", options.wait);
    }
    return false;
}

std::map<std::string, std::string> namesOf(const Road& road) {
    std::map<std::string, std::string> names;
    for (const RoadStation& station : road.stations) {
        names[station.id.mac] = station.name;
    }
    return names;
}

void stayUntilStopped(EventLog& log, const std::atomic<bool>& stopped) {
    std::printf("\nserving until interrupted\n");
    std::fflush(stdout);
    while (!log.waitUntil([&] { return stopped.load(); }, std::chrono::hours(1))) {
    }
}

Road readRoads(const Options& options, const std::vector<Json>& configs) {
    std::set<std::string> interfaces;
    for (const Json& config : configs) {
        interfaces.merge(interfaceNames(config));
    }
    std::vector<Road> roads;
    for (const std::string& path : options.roads) {
        roads.push_back(loadRoad(path));
        checkInterfaces(roads.back(), interfaces, path);
    }
    return joinRoads(std::move(roads));
}

// The RADIUS server of a road: the one that the user names, else the built-in one, when the road
// says whom it knows.
class RadiusSide {
public:
    RadiusSide(const Options& options, Road& road, EventLog& log) {
        if (!options.radius.empty()) {
            address_ = parseRadiusAddress(options.radius, options.secret);
            forgetRadiusExpectations(road);
        } else if (road.radius) {
            server_.emplace(*road.radius, log);
            address_ = server_->address();
        }
    }
    void introduceTo(Json& config) const {
        if (address_) {
            useRadiusServer(config, *address_);
        }
    }
    std::string secret() const { return address_ ? address_->secret : ""; }

private:
    std::optional<RadiusServer> server_;
    std::optional<RadiusAddress> address_;
};

// Prints what came of a road.
int judge(const std::vector<StationResult>& results, const Options& options, EventLog& log) {
    if (!options.stay) {
        log.setObserver(nullptr);  // what comes of the end of the road is no part of it
    }
    printResults(stdout, results);
    const bool ok = std::all_of(results.begin(), results.end(),
                                [](const StationResult& one) { return one.failure.empty(); });
    return ok ? kAsExpected : kNotAsExpected;
}

std::vector<std::string> latencyRow(const char* name, const std::vector<double>& values) {
    const auto cell = [&](double share) {
        char text[32];
        std::snprintf(text, sizeof text, "%.2f ms", percentile(values, share));
        return std::string(text);
    };
    return {name, cell(0.5), cell(0.99), cell(1)};
}

}  // namespace

int playRoad(const Options& options) {
    std::vector<Json> configs{loadConfiguration(options.config)};
    if (!options.second.empty()) {
        configs.push_back(loadConfiguration(options.second[0]));
    }
    Road road = readRoads(options, configs);
    EventLog log;
    Printer printer(stdout, namesOf(road));
    if (!options.quiet) {
        log.setObserver([&](const Event& event) { printer.print(event); });
    }
    const RadiusSide radius(options, road, log);
    std::deque<AccessPoint> accessPoints;
    std::vector<AccessPoint*> handles;
    for (Json& config : configs) {
        radius.introduceTo(config);
        AccessPointOptions accessPointOptions;
        accessPointOptions.log = &log;
        if (!accessPoints.empty()) {
            accessPointOptions.runtimeDirectory = options.second[1];
        }
        handles.push_back(&accessPoints.emplace_back(config, accessPointOptions));
    }
    RoadPlayer player(handles, radius.secret());
    const SignalWatcher signals([&] {
        log.setObserver(nullptr);  // what comes of this end is nobody's doing
        player.stop();
    });
    for (AccessPoint* accessPoint : handles) {
        if (!waitForDaemon(*accessPoint, options, signals.stopped())) {
            return signals.stopped() ? kInterrupted : kNotAsExpected;
        }
    }
    int status = kAsExpected;
    if (!options.roads.empty()) {
        const std::vector<StationResult> results = player.play(road);
        if (signals.stopped()) {
            return kInterrupted;
        }
        status = judge(results, options, log);
    }
    if (options.stay) {
        stayUntilStopped(log, signals.stopped());
    }
    return status;
}

int makeLoad(const Options& options, const Json& config) {
    const std::vector<std::string> interfaces = captiveInterfaces(config);
    if (interfaces.empty()) {
        throw InputError(options.config + ": no interface has its captive portal enabled");
    }
    AccessPointOptions accessPointOptions;
    accessPointOptions.keepEvents = false;
    AccessPoint accessPoint(config, accessPointOptions);
    const SignalWatcher signals([] {});
    if (!waitForDaemon(accessPoint, options, signals.stopped())) {
        return signals.stopped() ? kInterrupted : kNotAsExpected;
    }
    const LoadReport report =
        runLoad(accessPoint, interfaces, {options.stations, options.rate}, signals.stopped());
    std::printf(
        "%zu stations in %.1f s: %zu admitted, %zu logged in, %zu lost, "
        "%zu logins unanswered\n\n",
        report.stations, report.seconds, report.admitted, report.loggedIn,
        options.stations - report.loggedIn, report.unanswered);
    const std::string latencies =
        tools::table({{"latency", "median", "p99", "largest"},
                      latencyRow("notification to admission", report.admission),
                      latencyRow("login to let through", report.login),
                      latencyRow("login to answer", report.answer)});
    std::fputs(latencies.c_str(), stdout);
    if (signals.stopped()) {
        return kInterrupted;
    }
    return report.loggedIn == options.stations ? kAsExpected : kNotAsExpected;
}

}  // namespace apsim
