#include "portald/options.h"

#include <CLI/CLI.hpp>
#include <vector>

#include "portald/places.h"

namespace portald {
namespace {

constexpr int kWrongInput = 2;
constexpr std::uint16_t kTlsPort = 8443;

struct Raw {
    std::vector<std::string> terms;
    std::uint16_t tlsPort = kTlsPort;
};

void describe(CLI::App& app, Options& options, Raw& raw) {
    Settings& settings = options.settings;
    app.add_option("--port", settings.port, "The port of HTTP")
        ->capture_default_str()
        ->check(CLI::Range(1, 65535));
    app.add_option("--templates", options.templates,
                   "Directory with pages and texts in place of the built-in ones")
        ->check(CLI::ExistingDirectory);
    app.add_option(
           "--terms", raw.terms,
           "NAME or NAME=SCENARIO: the virtual portal NAME (* is any) asks for agreement to "
           "the terms of use and no password; SCENARIO, in the portal modes, is what the "
           "station gets then. May be repeated")
        ->type_name("NAME");
    auto* certificate = app.add_option("--certificate", options.certificate,
                                       "TLS: our certificate with its chain (PEM)")
                            ->check(CLI::ExistingFile);
    auto* key = app.add_option("--key", options.key, "TLS: its private key (PEM)")
                    ->check(CLI::ExistingFile)
                    ->needs(certificate);
    certificate->needs(key);
    app.add_option("--tls-port", raw.tlsPort, "The port of HTTPS, where there is a certificate")
        ->capture_default_str()
        ->check(CLI::Range(1, 65535));
    auto* name = app.add_option("--name", settings.name,
                                "The host name of this portal, which the certificate has too");
    app.add_option("--venue-url", settings.venueUrl, "A page about this place, for the API");
    app.add_flag("--can-extend-session", settings.canExtend,
                 "Tell the API's users that the portal can make a session longer");
    app.add_flag("--print-dhcp", options.printDhcp,
                 "Print the lines for dnsmasq that tell stations of the API, and end")
        ->needs(name);
    app.add_flag("--verbose", options.verbose, "Report more on standard error");
    app.footer(
        "Serves the stations of the vestad with the same OSTREL_RUNTIME_DIR until SIGTERM.\n"
        "Exit status: 0 after SIGTERM, 1 when a port or the bus can't be had, 2 wrong input.");
}

void complete(Options& options, const Raw& raw) {
    for (const std::string& one : raw.terms) {
        const std::size_t equals = std::min(one.find('='), one.size());
        options.settings.terms[one.substr(0, equals)] =
            equals < one.size() ? one.substr(equals + 1) : "";
    }
    if (!options.certificate.empty() || options.printDhcp) {
        options.settings.tlsPort = raw.tlsPort;
    }
}

}  // namespace

std::optional<Options> parseOptions(int argc, const char* const* argv, int& status) {
    Options options;
    Raw raw;
    CLI::App app("portald - sends stations to their login page and shows it", "portald");
    describe(app, options, raw);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        status = app.exit(error) == 0 ? 0 : kWrongInput;
        return std::nullopt;
    }
    complete(options, raw);
    return options;
}

std::string dhcpLines(const Settings& settings) {
    const std::string url = apiUrl(settings);
    return "# DHCPv4, option 114 (RFC 8910)\n"
           "dhcp-option=114," +
           url +
           "\n"
           "# DHCPv6, option 103\n"
           "dhcp-option=option6:103," +
           url +
           "\n"
           "# Router advertisement, option 37: dnsmasq has none; radvd from 2.20 on has, in its\n"
           "# interface section: AdvCaptivePortalAPI \"" +
           url + "\";\n";
}

}  // namespace portald
