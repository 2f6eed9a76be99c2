// deauth-client: throws a station off. vestad calls it as "deauth-client -i DEVICE -a MAC".

#include <linux/capability.h>
#include <net/if.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>

#include "common/hostapd_control.h"
#include "common/privileges.h"
#include "common/program.h"
#include "flow_cutter.h"
#include "netlink/station_key.h"
#include "ostrel/runtime.h"

namespace {

using ostrel::LogLevel;

enum Status { kOk = 0, kFailed = 1, kWrongInput = 2 };

// Its caller kills it after five.
constexpr unsigned int kLifetimeSeconds = 4;
constexpr std::chrono::milliseconds kHostapdPatience{2000};

struct Options {
    std::string device;
    std::string mac;
    std::string hostapdDirectory = "/var/run/hostapd";
    bool verbose = false;
};

std::string wrongDevice(const std::string& text) {
    return companion::isDeviceName(text) ? "" : "not a device's name: '" + text + "'";
}

// A group address is nobody's, and hostapd would throw off everybody.
std::string wrongMac(const std::string& text) {
    const auto mac = ostrel::parseColonMac(text);
    return mac && ((*mac)[0] & 1) == 0
               ? ""
               : "not a station's MAC such as 02:00:00:00:00:01: '" + text + "'";
}

// Nothing when the program is to go on; else its exit status.
std::optional<int> parseOptions(int argc, char** argv, Options& options) {
    CLI::App app("deauth-client - throws a station off", "deauth-client");
    app.add_option("-i", options.device, "The device that the station is on")
        ->required()
        ->check(CLI::Validator(wrongDevice, "DEVICE"));
    app.add_option("-a", options.mac, "The station")
        ->required()
        ->check(CLI::Validator(wrongMac, "MAC"));
    app.add_option("--hostapd", options.hostapdDirectory, "hostapd's directory of control sockets")
        ->capture_default_str();
    app.add_flag("--verbose", options.verbose, "Report details on standard error");
    app.footer(
        "Asks the hostapd of the device to deauthenticate the station. Where there is none, cuts\n"
        "its flows: its connections and its entries in the neighbour and bridge tables.\n"
        "Exit status: 0 when it is done, 1 when neither was possible, 2 wrong input.");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kOk : kWrongInput;
    }
    return std::nullopt;
}

// False, with a report where somebody listens, when hostapd did not do it.
bool deauthenticate(const Options& options, const std::string& mac) {
    const auto control = companion::HostapdControl::open(options.hostapdDirectory, options.device);
    if (!control) {
        ostrel::report(LogLevel::debug, "no hostapd at %s/%s: %s", options.hostapdDirectory.c_str(),
                       options.device.c_str(), std::strerror(errno));
        return false;
    }
    const auto answer = control->ask("DEAUTHENTICATE " + mac, kHostapdPatience);
    if (answer == "OK\n") {
        return true;
    }
    ostrel::report(LogLevel::warning, "hostapd of %s does not deauthenticate %s: %s",
                   options.device.c_str(), mac.c_str(),
                   answer ? "it refuses" : std::strerror(errno));
    return false;
}

int disconnect(const Options& options) {
    const auto mac = *ostrel::parseColonMac(options.mac);
    if (deauthenticate(options, ostrel::macText(mac))) {
        return kOk;
    }
    if (if_nametoindex(options.device.c_str()) == 0) {
        ostrel::report(LogLevel::error, "%s: %s", options.device.c_str(), std::strerror(errno));
        return kFailed;
    }
    return deauth::cutFlows(companion::StationKey(options.device, mac)) ? kOk : kFailed;
}

}  // namespace

int main(int argc, char** argv) {
    alarm(kLifetimeSeconds);
    Options options;
    if (const std::optional<int> status = parseOptions(argc, argv, options)) {
        return *status;
    }
    companion::reportToStandardError("deauth-client", options.verbose);
    try {
        companion::keepOnlyCapabilities({CAP_NET_ADMIN});
        return disconnect(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "deauth-client: %s\n", error.what());
        return kFailed;
    }
}
