#pragma once

// redirectord in the access point's namespace, and vestad's side of docs/modules.md.
//
// Threads: one.

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <optional>
#include <string>

#include "access_point.h"
#include "ostrel/addresses.h"
#include "support/child_process.h"
#include "support/runtime_directory.h"

namespace vesta::testing {

enum class Request : std::uint32_t {
    proxy = 6,
    captive = 8,
    pass = 9,
    drop = 10,
    forget = 11,
    notify = 13,
    stationList = 19,
    addAddresses = 20,
    addDomains = 21,
    addPatterns = 22,
    forgetLists = 23,
    forgetStations = 24,
    gateway = 25,
};

template <typename Value>
std::string bytesOf(const Value& value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

class DaemonSide {
public:
    struct Answer {
        int result = -EIO;
        std::string record;
    };

    // Binds the socket for notifications and connects; issues request 13 when `hears`.
    explicit DaemonSide(bool hears = true) {
        const std::string directory = ostrel::runtimeDirectory() + "/modules/";
        news_ = boundSocket(directory + "notify-" + std::to_string(getpid()));
        connection_.reset(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
        sockaddr_un address = unixAddress(directory + "redirector");
        if (connect(connection_.get(), reinterpret_cast<const sockaddr*>(&address),
                    sizeof address) != 0) {
            throw std::runtime_error("redirectord can't be reached");
        }
        if (hears) {
            ask(Request::notify, bytesOf(static_cast<std::uint32_t>(getpid())));
        }
    }

    Answer ask(Request number, const std::string& argument = "") {
        const std::string request = bytesOf(static_cast<std::uint32_t>(number)) + argument;
        char buffer[128];
        if (send(connection_.get(), request.data(), request.size(), MSG_NOSIGNAL) < 0 ||
            !readableWithin(connection_.get(), std::chrono::seconds(1))) {
            return {};
        }
        const ssize_t size = recv(connection_.get(), buffer, sizeof buffer, 0);
        Answer answer;
        if (size >= static_cast<ssize_t>(sizeof answer.result)) {
            std::memcpy(&answer.result, buffer, sizeof answer.result);
            answer.record.assign(buffer + sizeof answer.result,
                                 static_cast<std::size_t>(size) - sizeof answer.result);
        }
        return answer;
    }
    // Requests 8 to 11.
    int tell(Request number, const std::string& device, const std::string& mac,
             const std::string& ip = "0.0.0.0") {
        return ask(number, bytesOf(*ostrel::parseMac(mac)) + padded(device) +
                               std::string(20, '\0') + bytesOf(*ostrel::parseIpv4(ip)))
            .result;
    }
    int tell(Request number, const SimulatedStation& station) {
        return tell(number, station.device, station.mac, station.ip);
    }

    // The next station that is announced within `bound`: "device MAC address".
    std::optional<std::string> news(
        std::chrono::milliseconds bound = std::chrono::milliseconds(2000)) {
        char buffer[128];
        if (!readableWithin(news_.get(), bound) ||
            recv(news_.get(), buffer, sizeof buffer, 0) != 46) {
            return std::nullopt;
        }
        ostrel::MacBytes mac;
        in_addr ip;
        std::memcpy(mac.data(), buffer + 16, mac.size());
        std::memcpy(&ip, buffer + 38, sizeof ip);
        return std::string(buffer + 22) + " " + ostrel::macText(mac) + " " + ostrel::ipv4Text(ip);
    }

    static std::string padded(std::string name) {
        name.resize(16);
        return name;
    }

private:
    static sockaddr_un unixAddress(const std::string& path) {
        sockaddr_un address;
        if (!ostrel::unixAddress(path, address)) {
            throw std::runtime_error("too long: " + path);
        }
        return address;
    }
    static ostrel::Fd boundSocket(const std::string& path) {
        const sockaddr_un address = unixAddress(path);
        ostrel::Fd fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        unlink(path.c_str());
        if (bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            throw std::runtime_error("no socket at " + path);
        }
        return fd;
    }

    ostrel::Fd connection_;
    ostrel::Fd news_;
};

// redirectord for all devices of the network, ready to serve.
class RedirectorProcess {
public:
    explicit RedirectorProcess(const AccessPointNetwork& net, int stations = 2) : net_(net) {
        for (int number = 1; number <= stations; ++number) {
            words_.insert(words_.end(), {"--interface", net.station(number).device});
        }
        start();
    }
    // Starts it anew, with more words on its command line.
    void start(const std::vector<std::string>& more = {}) {
        std::vector<std::string> words{REDIRECTORD_PROGRAM, "--verbose"};
        words.insert(words.end(), words_.begin(), words_.end());
        words.insert(words.end(), more.begin(), more.end());
        net_.ap.inside([&] { process_.start(words, ChildProcess::Output::heard); });
        if (!process_.waitForText("ready")) {
            throw std::runtime_error("redirectord does not start: " + process_.said());
        }
    }
    ChildProcess& process() { return process_; }
    [[nodiscard]] const std::vector<std::string>& words() const { return words_; }

private:
    const AccessPointNetwork& net_;
    std::vector<std::string> words_{"--uplink", "up0"};
    ChildProcess process_;
};

}  // namespace vesta::testing
