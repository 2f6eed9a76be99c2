#pragma once

// The command line of apbd. Called once, before any thread is started.

#include <cstdint>
#include <optional>
#include <string>

#include "apbd/mqtt_broker.h"

namespace apbd {

struct Options {
    BrokerOptions broker;
    std::string topicRoot = "vestad";
    std::uint32_t recordLifetime = 24 * 3600;  // seconds
    bool verbose = false;
};

// Why the program ends at once: the exit status.
struct Refusal {
    int status = 0;
};

// Reads the command line and the password's file. Gives nothing on --help or wrong input: then it
// has printed the help or the mistake and has set `refusal`.
[[nodiscard]] std::optional<Options> parseOptions(int argc, char** argv, Refusal& refusal);

}  // namespace apbd
