// The program around the simulated access point: plays a road, makes load, or just serves. Started
// under the name deauth-client it is that command of the access point.

#include <pthread.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>

#include "apsim/commands.h"
#include "apsim/input.h"
#include "apsim/load.h"
#include "apsim/module_server.h"
#include "apsim/signal_watcher.h"

namespace {

using apsim::Options;

int deauthClient(int argc, char** argv) {
    apsim::StationId id;
    for (int option = getopt(argc, argv, "i:a:"); option != -1;
         option = getopt(argc, argv, "i:a:")) {
        (option == 'i' ? id.interface : id.mac) = optarg == nullptr ? "" : optarg;
    }
    if (id.interface.empty() || id.mac.empty()) {
        std::fprintf(stderr, "usage: deauth-client -i INTERFACE -a MAC\n");
        return apsim::kWrongInput;
    }
    return apsim::sendDeauth(id) ? apsim::kAsExpected : apsim::kNotAsExpected;
}

void describe(CLI::App& app, Options& options) {
    app.add_option("--config", options.config,
                   "Configuration document that vestad is given (JSON file)");
    auto* road = app.add_option("--road", options.roads,
                                "Play this road of timed events (JSON file), then print what "
                                "happened to each station; several are played side by side")
                     ->expected(1)
                     ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("--second", options.second,
                   "A second access point: its configuration and runtime directory. Interfaces "
                   "have names of their own, so that a station can be told where it is")
        ->expected(2)
        ->type_name("FILE DIR");
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
    auto* radius = app.add_option("--radius", options.radius,
                                  "RADIUS server HOST:PORT in place of the built-in one; it takes "
                                  "accounting at PORT+1")
                       ->needs(road);
    auto* secret =
        app.add_option("--secret", options.secret, "Secret that this server shares with us")
            ->needs(radius);
    radius->needs(secret);
    app.add_option("--wait", options.wait, "Seconds to wait for vestad")->capture_default_str();
    app.add_flag("--stay", options.stay, "Keep serving (after the road) until interrupted")
        ->excludes(stations);
    app.add_flag("--quiet", options.quiet, "Print no events, only the results");
    app.footer(
        "Start vestad beside it with the same OSTREL_RUNTIME_DIR. Linked as deauth-client into a\n"
        "directory of vestad's PATH, it takes that command's calls.\n"
        "Exit status: 0 as expected, 1 not as expected, 2 wrong input, 130 ended by a signal "
        "before\n"
        "the road was over.");
}

int run(const Options& options) {
    if (options.stations > 0) {
        return apsim::makeLoad(options, options.config.empty()
                                            ? apsim::builtInConfiguration()
                                            : apsim::loadConfiguration(options.config));
    }
    if (options.config.empty() || (options.roads.empty() && !options.stay)) {
        throw apsim::InputError("needs --config with --road or --stay, or --stations; see --help");
    }
    return apsim::playRoad(options);
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
        return app.exit(error) == 0 ? apsim::kAsExpected : apsim::kWrongInput;
    }
    const sigset_t signals = apsim::endingSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    try {
        return run(options);
    } catch (const apsim::InputError& error) {
        std::fprintf(stderr, "apsim: %s\n", error.what());
        return apsim::kWrongInput;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "apsim: %s\n", error.what());
        return apsim::kNotAsExpected;
    }
}
