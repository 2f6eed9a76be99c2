#include "redirectord/dns_servers.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "ostrel/runtime.h"

namespace redirectord {
namespace {

constexpr std::chrono::seconds kLookEvery{1};

bool sameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
           a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

}  // namespace

SocketAddress parseDnsServer(const std::string& text) {
    return parseSocketAddress(text, "53");
}

const SocketAddress* DnsServers::current(Clock::time_point now) {
    if (!file_.empty() && now >= nextLook_) {
        nextLook_ = now + kLookEvery;
        readFile();
    }
    return servers_.empty() ? nullptr : &servers_[current_];
}

void DnsServers::turnFrom(const SocketAddress& failed) {
    if (!servers_.empty() && failed == servers_[current_]) {
        current_ = (current_ + 1) % servers_.size();
    }
}

void DnsServers::readFile() {
    struct stat now {};
    if (stat(file_.c_str(), &now) != 0 || sameFile(now, seen_)) {
        return;
    }
    seen_ = now;
    servers_.clear();
    current_ = 0;
    std::ifstream file(file_);
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string key;
        std::string server;
        if (!(words >> key >> server) || key != "nameserver") {
            continue;
        }
        try {
            servers_.push_back(parseDnsServer(server));
        } catch (const std::invalid_argument& error) {
            ostrel::report(ostrel::LogLevel::warning, "%s: %s", file_.c_str(), error.what());
        }
    }
    if (servers_.empty()) {
        ostrel::report(ostrel::LogLevel::warning,
                       "%s names no server: captive stations can't look up names", file_.c_str());
    }
}

}  // namespace redirectord
