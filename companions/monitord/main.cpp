// monitord: tells the access point's daemons which stations are there and what they have sent and
// got, and writes what happens to them to the system log.

#include <linux/capability.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <optional>

#include "common/privileges.h"
#include "common/program.h"
#include "monitord/monitor.h"

namespace {

enum Status { kOk = 0, kFailed = 1, kWrongInput = 2 };

// Nothing when the program is to go on; else its exit status.
std::optional<int> parseOptions(int argc, char** argv, monitord::Options& options) {
    CLI::App app("monitord - tells who is there and counts their traffic", "monitord");
    app.add_option("--gone-after", options.goneAfterSeconds,
                   "Seconds of silence after which a station is gone that no radio knows")
        ->capture_default_str()
        ->check(CLI::Range(4, 86400));
    app.add_option("--hostapd", options.hostapdDirectory, "hostapd's directory of control sockets")
        ->capture_default_str();
    app.add_flag("--verbose", options.verbose, "Report details on standard error");
    app.footer(
        "Serves the vestad with the same OSTREL_RUNTIME_DIR until SIGTERM.\n"
        "Exit status: 0 after SIGTERM, 1 when the bus or the kernel's tables can't be reached,\n"
        "2 wrong input.");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kOk : kWrongInput;
    }
    return std::nullopt;
}

}  // namespace

int main(int argc, char** argv) {
    monitord::Options options;
    if (const std::optional<int> status = parseOptions(argc, argv, options)) {
        return *status;
    }
    companion::reportToStandardError("monitord", options.verbose);
    try {
        companion::keepOnlyCapabilities({CAP_NET_ADMIN});
        companion::EventLoop loop;
        const monitord::Monitor monitor(loop, options);
        loop.run();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "monitord: %s\n", error.what());
        return kFailed;
    }
    return kOk;
}
