#pragma once

// The command line of redirectord. Values, without threads.

#include <netinet/in.h>

#include <optional>
#include <string>
#include <vector>

#include "redirectord/socket_address.h"

namespace redirectord {

struct Options {
    std::vector<std::string> interfaces;
    std::string uplink;  // "": what stations send has no limits
    std::optional<in_addr> proxy;
    std::vector<SocketAddress> dnsServers;  // none: those of the host
    bool openOnExit = false;
    bool flush = false;
    bool verbose = false;
};

// Reads the command line. Nothing when there is no more to do than to exit with `status`: then it
// has written to standard output or error what there is to say.
[[nodiscard]] std::optional<Options> parseOptions(int argc, char** argv, int& status);

}  // namespace redirectord
