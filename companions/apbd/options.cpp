#include "apbd/options.h"

#include <CLI/CLI.hpp>
#include <fstream>

#include "apbd/topics.h"

namespace apbd {
namespace {

constexpr int kWrongInput = 2;
constexpr int kPort = 1883;
constexpr int kTlsPort = 8883;

void describe(CLI::App& app, Options& options, std::string& passwordFile) {
    BrokerOptions& broker = options.broker;
    app.add_option("--broker", broker.host, "Host name or address of the MQTT broker")
        ->capture_default_str();
    app.add_option("--port", broker.port, "Its port (default: 1883, with --ca 8883)")
        ->check(CLI::Range(1, 65535));
    auto* user = app.add_option("--user", broker.user, "User name at the broker");
    app.add_option("--password-file", passwordFile, "File with the password in its first line")
        ->check(CLI::ExistingFile)
        ->needs(user);
    auto* ca = app.add_option("--ca", broker.caFile,
                              "TLS: certificates of the authorities that are trusted (PEM)")
                   ->check(CLI::ExistingFile);
    auto* cert = app.add_option("--cert", broker.certFile, "TLS: our own certificate (PEM)")
                     ->check(CLI::ExistingFile)
                     ->needs(ca);
    auto* key = app.add_option("--key", broker.keyFile, "TLS: its private key (PEM)")
                    ->check(CLI::ExistingFile)
                    ->needs(cert);
    cert->needs(key);
    app.add_option("--topic-root", options.topicRoot, "The topic above all others")
        ->capture_default_str()
        ->check(CLI::Validator([](std::string& text) { return wrongRoot(text); }, "TOPIC"));
    app.add_option(
           "--record-lifetime", options.recordLifetime,
           "Seconds after which the record of a station ends that its access point does not "
           "confirm")
        ->capture_default_str()
        ->check(CLI::Range(60, 30 * 24 * 3600));
    app.add_flag("--verbose", options.verbose, "Report every message on standard error");
    app.footer(
        "Serves the vestad with the same OSTREL_RUNTIME_DIR until SIGTERM.\n"
        "Exit status: 0 after SIGTERM, 1 when the bus can't be joined, 2 wrong input.");
}

bool isReadable(const std::string& file) {
    return file.empty() || std::ifstream(file).good();
}

std::string firstLine(const std::string& file) {
    std::ifstream stream(file);
    std::string line;
    if (!std::getline(stream, line) || line.empty()) {
        throw CLI::ValidationError("--password-file", file + ": no password in its first line");
    }
    if (line.back() == '\r') {
        line.pop_back();
    }
    return line;
}

void complete(Options& options, const std::string& passwordFile) {
    BrokerOptions& broker = options.broker;
    if (broker.host.empty()) {
        throw CLI::ValidationError("--broker", "no host");
    }
    for (const std::string& file : {broker.caFile, broker.certFile, broker.keyFile}) {
        if (!isReadable(file)) {
            throw CLI::ValidationError("TLS", file + ": can't be read");
        }
    }
    if (!passwordFile.empty()) {
        broker.password = firstLine(passwordFile);
    }
    if (broker.port == 0) {
        broker.port = broker.caFile.empty() ? kPort : kTlsPort;
    }
}

}  // namespace

std::optional<Options> parseOptions(int argc, char** argv, Refusal& refusal) {
    Options options;
    std::string passwordFile;
    CLI::App app("apbd - shares vestad's stations with the other access points through MQTT",
                 "apbd");
    describe(app, options, passwordFile);
    try {
        app.parse(argc, argv);
        complete(options, passwordFile);
    } catch (const CLI::ParseError& error) {
        refusal.status = app.exit(error) == 0 ? 0 : kWrongInput;
        return std::nullopt;
    }
    return options;
}

}  // namespace apbd
