// vestactl: asks the running daemon for its state and administers its clients, over the bus.

#include <CLI/CLI.hpp>
#include <cstdio>

#include "ostrel/runtime.h"
#include "requests/portal_client.h"
#include "vestactl/report.h"

namespace {

using tools::Json;
using tools::PortalClient;

enum Status { kDone = 0, kFailed = 1, kWrongUse = 2 };

struct Options {
    bool json = false;
    int timeout = 5;  // seconds
    std::string mac;
    std::string ssid;
    std::string interface;
    std::string ip;
};

int fail(const std::string& text) {
    std::fprintf(stderr, "vestactl: %s\n", text.c_str());
    return kFailed;
}

// Prints the answer as JSON or through `report`.
int show(const Json& answer, const Options& options, std::string (*report)(const Json&)) {
    const std::string text = options.json ? answer.dump(2) + "\n" : report(answer);
    std::fputs(text.c_str(), stdout);
    return kDone;
}

std::string disconnectReport(const Json&) {
    return "asked; the daemon doesn't say whether it knew the client\n";
}

int showStation(const Json& answer, const Options& options) {
    const bool known = answer.value("result", Json(0)) == 1;
    if (!options.json && !known) {
        return fail("no connected client has the address " + options.ip);
    }
    show(answer, options, vestactl::stationReport);
    return known ? kDone : kFailed;
}

PortalClient::Answer ask(const std::string& command, const Options& options) {
    PortalClient client(options.timeout);
    if (command == "status") {
        return client.status();
    }
    if (command == "scenarios") {
        return client.scenarios(options.mac, options.ssid);
    }
    if (command == "disconnect") {
        return client.deleteClient(options.interface, options.mac);
    }
    return client.validateIp(options.ip);
}

int run(const std::string& command, const Options& options) {
    const PortalClient::Answer answer = ask(command, options);
    if (!answer) {
        return fail("vestad doesn't answer in " + ostrel::runtimeDirectory() +
                    " (is it running? OSTREL_RUNTIME_DIR names another place)");
    }
    if (answer->contains("error")) {
        return fail("vestad refused the request: " + (*answer)["error"].dump());
    }
    if (command == "status") {
        return show(*answer, options, vestactl::statusReport);
    }
    if (command == "scenarios") {
        return show(*answer, options, vestactl::scenariosReport);
    }
    if (command == "disconnect") {
        return show(*answer, options, disconnectReport);
    }
    return showStation(*answer, options);
}

void describe(CLI::App& app, Options& options) {
    app.require_subcommand(1);
    app.fallthrough();
    app.add_flag("--json", options.json, "Print the daemon's answer as it is");
    app.add_option("--timeout", options.timeout, "Seconds to wait for the answer")
        ->check(CLI::Range(1, 600))
        ->capture_default_str();
    app.add_subcommand("status", "Table of all clients");
    CLI::App* scenarios = app.add_subcommand("scenarios", "Scenarios of all clients, or of one");
    CLI::Option* mac = scenarios->add_option("--mac", options.mac, "MAC address of the client");
    CLI::Option* ssid =
        scenarios->add_option("--ssid", options.ssid, "SSID that the client is on")->needs(mac);
    mac->needs(ssid);
    CLI::App* disconnect = app.add_subcommand("disconnect", "Throw one client off");
    disconnect->add_option("--interface", options.interface, "VAP that the client is on")
        ->required();
    disconnect->add_option("--mac", options.mac, "MAC address of the client")->required();
    CLI::App* station =
        app.add_subcommand("validate-ip", "What the proxy learns of the station with this address");
    station->add_option("ip", options.ip, "IPv4 address of the station")->required();
    app.footer("Exit status: 0 done, 1 no daemon or no such client, 2 wrong use.");
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app("vestactl - status and administration of vestad", "vestactl");
    describe(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kDone : kWrongUse;
    }
    try {
        return run(app.get_subcommands().front()->get_name(), options);
    } catch (const std::exception& error) {
        return fail(error.what());
    }
}
