// The program around the simulated access point: plays a road, makes load, or just serves. Started
// under the name deauth-client it is that command of the access point.

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <thread>

#include "apsim/access_point.h"
#include "apsim/load.h"
#include "apsim/road_player.h"
#include "apsim/terminal.h"
#include "common/table.h"

namespace {

using apsim::Json;

enum Status { kAsExpected = 0, kNotAsExpected = 1, kWrongInput = 2 };

struct Options {
    std::string config;
    std::string road;
    std::size_t stations = 0;
    double rate = 100;
    int wait = 30;  // seconds
    bool stay = false;
    bool quiet = false;
};

sigset_t endingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    return signals;
}

// Waits for SIGINT or SIGTERM on a thread of its own, since a handler could do nothing of what is
// to be done. Every thread must have the two blocked.
class SignalWatcher {
public:
    explicit SignalWatcher(std::function<void()> reaction)
        : thread_([this, reaction = std::move(reaction)] {
              const sigset_t signals = endingSignals();
              int number = 0;
              sigwait(&signals, &number);
              if (!ended_) {
                  stopped_ = true;
                  reaction();
              }
          }) {}
    ~SignalWatcher() {
        ended_ = true;
        pthread_kill(thread_.native_handle(), SIGTERM);
        thread_.join();
    }
    SignalWatcher(const SignalWatcher&) = delete;
    SignalWatcher& operator=(const SignalWatcher&) = delete;

    const std::atomic<bool>& stopped() const { return stopped_; }

private:
    std::atomic<bool> stopped_{false};
    std::atomic<bool> ended_{false};
    std::thread thread_;
};

std::vector<std::string> captiveInterfaces(const Json& config) {
    std::vector<std::string> names;
    for (const Json& entry : config.at("interface")) {
        if (entry.value("/vap/captive-portal/enabled"_json_pointer, false)) {
            names.push_back(entry.at("name"));
        }
    }
    return names;
}

bool waitForDaemon(apsim::AccessPoint& accessPoint, const Options& options,
                   const std::atomic<bool>& stopped) {
    std::printf("waiting for vestad in %s\n", ostrel::runtimeDirectory().c_str());
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

void stayUntilStopped(apsim::AccessPoint& accessPoint, const std::atomic<bool>& stopped) {
    std::printf("\nserving in %s until interrupted\n", ostrel::runtimeDirectory().c_str());
    std::fflush(stdout);
    while (!accessPoint.events().waitUntil([&] { return stopped.load(); }, std::chrono::hours(1))) {
    }
}

int playRoad(const Options& options, const Json& config) {
    apsim::Road road;
    if (!options.road.empty()) {
        road = apsim::loadRoad(options.road);
        apsim::checkInterfaces(road, config, options.road);
    }
    std::map<apsim::StationId, std::string> names;
    for (const apsim::RoadStation& station : road) {
        names[station.id] = station.name;
    }
    const bool colour = apsim::wantsColour(stdout);
    apsim::Printer printer(stdout, colour, names);
    apsim::AccessPoint accessPoint(config);
    apsim::RoadPlayer player(accessPoint);
    if (!options.quiet) {
        accessPoint.events().setObserver([&](const apsim::Event& event) { printer.print(event); });
    }
    const SignalWatcher signals([&] { player.stop(); });
    if (!waitForDaemon(accessPoint, options, signals.stopped())) {
        return kNotAsExpected;
    }
    int status = kAsExpected;
    if (!options.road.empty()) {
        const std::vector<apsim::StationResult> results = player.play(road);
        apsim::printResults(stdout, colour, results);
        const bool ok = std::all_of(results.begin(), results.end(),
                                    [](const apsim::StationResult& one) { return one.ok; });
        status = ok ? kAsExpected : kNotAsExpected;
    }
    if (options.stay && !signals.stopped()) {
        stayUntilStopped(accessPoint, signals.stopped());
    }
    accessPoint.events().setObserver(nullptr);
    return status;
}

std::vector<std::string> latencyRow(const char* name, const std::vector<double>& values) {
    const auto cell = [&](double share) {
        char text[32];
        std::snprintf(text, sizeof text, "%.2f ms", apsim::percentile(values, share));
        return std::string(text);
    };
    return {name, cell(0.5), cell(0.99), cell(1)};
}

int makeLoad(const Options& options, const Json& config) {
    const std::vector<std::string> interfaces = captiveInterfaces(config);
    if (interfaces.empty()) {
        throw apsim::InputError(options.config + ": no interface has its captive portal enabled");
    }
    apsim::AccessPointOptions accessPointOptions;
    accessPointOptions.keepEvents = false;
    apsim::AccessPoint accessPoint(config, accessPointOptions);
    const SignalWatcher signals([] {});
    if (!waitForDaemon(accessPoint, options, signals.stopped())) {
        return kNotAsExpected;
    }
    const apsim::LoadReport report = apsim::runLoad(
        accessPoint, interfaces, {options.stations, options.rate}, signals.stopped());
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
    return report.loggedIn == options.stations ? kAsExpected : kNotAsExpected;
}

int deauthClient(int argc, char** argv) {
    apsim::StationId id;
    for (int option = getopt(argc, argv, "i:a:"); option != -1;
         option = getopt(argc, argv, "i:a:")) {
        (option == 'i' ? id.interface : id.mac) = optarg == nullptr ? "" : optarg;
    }
    if (id.interface.empty() || id.mac.empty()) {
        std::fprintf(stderr, "usage: deauth-client -i INTERFACE -a MAC\n");
        return kWrongInput;
    }
    return apsim::sendDeauth(id) ? kAsExpected : kNotAsExpected;
}

void describe(CLI::App& app, Options& options) {
    app.add_option("--config", options.config,
                   "Configuration document that vestad is given (JSON file)");
    auto* road = app.add_option("--road", options.road,
                                "Play this road of timed events (JSON file), then print what "
                                "happened to each station");
    auto* stations =
        app.add_option("--stations", options.stations,
                       "Make load: this many stations arrive, log in and have traffic. Without "
                       "--config a configuration of one VAP is used")
            ->check(CLI::Range(std::size_t{1}, apsim::kMostStations))
            ->excludes(road);
    app.add_option("--rate", options.rate, "Arrivals a second with --stations")
        ->check(CLI::Range(0.1, 100000.0))
        ->capture_default_str()
        ->needs(stations);
    app.add_option("--wait", options.wait, "Seconds to wait for vestad")->capture_default_str();
    app.add_flag("--stay", options.stay, "Keep serving (after the road) until interrupted")
        ->excludes(stations);
    app.add_flag("--quiet", options.quiet, "Print no events, only the results");
    app.footer(
        "Start vestad beside it with the same OSTREL_RUNTIME_DIR. Linked as deauth-client into a\n"
        "directory of vestad's PATH, it takes that command's calls.\n"
        "Exit status: 0 as expected, 1 not as expected, 2 wrong input.");
}

int run(const Options& options) {
    if (options.stations > 0) {
        return makeLoad(options, options.config.empty() ? apsim::builtInConfiguration()
                                                        : apsim::loadConfiguration(options.config));
    }
    if (options.config.empty() || (options.road.empty() && !options.stay)) {
        throw apsim::InputError("needs --config with --road or --stay, or --stations; see --help");
    }
    return playRoad(options, apsim::loadConfiguration(options.config));
}

}  // namespace

int main(int argc, char** argv) {
    if (std::filesystem::path(argv[0]).filename() == "deauth-client") {
        return deauthClient(argc, argv);
    }
    Options options;
    CLI::App app("apsim - a simulated access point around vestad", "apsim");
    describe(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kAsExpected : kWrongInput;
    }
    const sigset_t signals = endingSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    try {
        return run(options);
    } catch (const apsim::InputError& error) {
        std::fprintf(stderr, "apsim: %s\n", error.what());
        return kWrongInput;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "apsim: %s\n", error.what());
        return kNotAsExpected;
    }
}
