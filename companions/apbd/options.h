#pragma once

// The command line of apbd. Values, without threads.

#include <optional>
#include <string>

#include "apbd/mqtt_broker.h"

namespace apbd {

struct Options {
    BrokerOptions broker;
    std::string topicRoot = "vestad";
    bool verbose = false;
};

// What stopped parseOptions(): the exit status.
struct Refusal {
    int status = 0;
};

// Reads the command line and the password's file. On --help or wrong input it has written to
// standard output or error what there is to say.
[[nodiscard]] std::optional<Options> parseOptions(int argc, char** argv, Refusal& refusal);

}  // namespace apbd
