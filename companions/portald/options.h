#pragma once

// The command line of portald. Values, without threads.

#include <optional>
#include <string>

#include "portald/settings.h"

namespace portald {

struct Options {
    Settings settings;
    std::string certificate;  // "": no TLS
    std::string key;
    std::string templates;  // directory; "": none
    bool printDhcp = false;
    bool verbose = false;
};

// Reads the command line. On --help or wrong input it has written to standard output or error what
// there is to say, and `status` is the exit status.
[[nodiscard]] std::optional<Options> parseOptions(int argc, const char* const* argv, int& status);

// The lines for dnsmasq that tell stations of the API (RFC 8910). Settings have a name.
[[nodiscard]] std::string dhcpLines(const Settings& settings);

}  // namespace portald
