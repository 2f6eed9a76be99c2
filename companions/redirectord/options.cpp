#include "redirectord/options.h"

#include <net/if.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <stdexcept>

#include "ostrel/addresses.h"
#include "redirectord/dns_servers.h"

namespace redirectord {
namespace {

constexpr int kWrongInput = 2;

// The name becomes a part of the names of chains.
std::string wrongDevice(const std::string& name) {
    const bool fits = !name.empty() && name.size() < IFNAMSIZ &&
                      std::all_of(name.begin(), name.end(), [](unsigned char c) {
                          return std::isalnum(c) != 0 || c == '.' || c == '_' || c == '-';
                      });
    return fits ? "" : name + ": a device's name has 1 to 15 letters, digits, '.', '_' and '-'";
}

void addDnsServer(Options& options, const std::string& text) {
    try {
        options.dnsServers.push_back(parseDnsServer(text));
    } catch (const std::invalid_argument& error) {
        throw CLI::ValidationError("--dns-server", error.what());
    }
}

void describe(CLI::App& app, Options& options, std::string& proxy) {
    auto* flush =
        app.add_flag("--flush", options.flush, "Remove all rules, queues and stations, and exit");
    app.add_option("--interface", options.interfaces,
                   "A device behind which captive stations are; may be repeated. It may come later")
        ->check(CLI::Validator([](std::string& name) { return wrongDevice(name); }, "NAME"))
        ->excludes(flush);
    app.add_option("--uplink", options.uplink,
                   "The device towards the internet, at which the speed of what stations send is "
                   "limited; it is not limited where none is given. It may come later")
        ->check(CLI::Validator([](std::string& name) { return wrongDevice(name); }, "NAME"))
        ->excludes(flush);
    app.add_option("--proxy-address", proxy,
                   "What the daemon hears as the address of the HTTP proxy: the access point's own "
                   "towards its stations where it is not given")
        ->check(CLI::ValidIPV4);
    app.add_option_function<std::vector<std::string>>(
           "--dns-server",
           [&options](const std::vector<std::string>& texts) {
               for (const std::string& text : texts) {
                   addDnsServer(options, text);
               }
           },
           "A name server for captive stations, with a port or without; may be repeated. Those of "
           "/etc/resolv.conf where none is given")
        ->excludes(flush);
    app.add_flag("--open-on-exit", options.openOnExit,
                 "Remove all rules at SIGTERM. Without it they stay, closed to whoever was not "
                 "admitted");
    app.add_flag("--verbose", options.verbose, "Report every station on standard error");
    app.footer(
        "Serves the vestad with the same OSTREL_RUNTIME_DIR until SIGTERM. Needs CAP_NET_ADMIN.\n"
        "Exit status: 0 after SIGTERM, 1 when the kernel or the system refuses, 2 wrong input.");
}

}  // namespace

std::optional<Options> parseOptions(int argc, char** argv, int& status) {
    Options options;
    std::string proxy;
    CLI::App app("redirectord - redirects, admits and counts stations with the kernel's nftables",
                 "redirectord");
    describe(app, options, proxy);
    try {
        app.parse(argc, argv);
        if (options.interfaces.empty() && !options.flush) {
            throw CLI::RequiredError("--interface");
        }
    } catch (const CLI::ParseError& error) {
        status = app.exit(error) == 0 ? 0 : kWrongInput;
        return std::nullopt;
    }
    if (!proxy.empty()) {
        options.proxy = ostrel::parseIpv4(proxy);
    }
    return options;
}

}  // namespace redirectord
