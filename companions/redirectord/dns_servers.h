#pragma once

// The name servers that queries of captive stations go to.
//
// Threads: one at a time.

#include <sys/stat.h>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "redirectord/socket_address.h"

namespace redirectord {

// As parseSocketAddress(), with port 53.
[[nodiscard]] SocketAddress parseDnsServer(const std::string& text);

class DnsServers {
public:
    using Clock = std::chrono::steady_clock;

    explicit DnsServers(std::vector<SocketAddress> servers) : servers_(std::move(servers)) {}
    // Those of a file like /etc/resolv.conf, which is read again within a second after it changed.
    explicit DnsServers(std::string file) : file_(std::move(file)) {}

    // The server to ask now; null while there is none.
    [[nodiscard]] const SocketAddress* current(Clock::time_point now);
    // Asks the next server from now on, when `failed` is the one that is asked now.
    void turnFrom(const SocketAddress& failed);

private:
    void readFile();

    std::string file_;
    struct stat seen_ {};
    Clock::time_point nextLook_{};
    std::vector<SocketAddress> servers_;
    std::size_t current_ = 0;
};

}  // namespace redirectord
