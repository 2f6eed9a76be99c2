// What a station waits for at a whole access point: vestad, configd, redirectord, monitord and
// portald on real packets. Prints its rows of the table that scripts/bench shows. Takes root or
// user namespaces.

#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <sys/mount.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <memory>
#include <thread>

#include "companions/redirectord/access_point.h"
#include "http_station.h"
#include "in_namespaces.h"
#include "median.h"
#include "process_figures.h"
#include "support/child_process.h"
#include "support/runtime_directory.h"
#include "table.h"

namespace vesta::bench {
namespace {

using testing::AccessPointNetwork;
using testing::NetNamespace;

constexpr std::size_t kStations = 240;

constexpr const char* kConfiguration = R"({
  "captive-portal": {"logfile": "/run/vestad.log", "loglevel": 3, "logfile-limit": 1024,
                     "uplink-interface": "up0", "ap-location": "hall", "white-list": []},
  "interface": [
    {"name": "va1", "common": {"type": "vap", "enabled": true},
     "vap": {"ssid": "Hall", "captive-portal": {
       "enabled": true, "age-timeout": 3600, "verification-mode": "local", "acct-enable": false,
       "default-white-list": "",
       "scenarios": [
         {"access-type": "forbid", "name": "login", "redirect-url": "/login",
          "virtual-portal-name": "hall", "auth-scenario": "guest", "white-list": ""},
         {"access-type": "allow", "name": "guest", "deauth-scenario": "login",
          "transmit-maximum-speed": 0, "receive-maximum-speed": 0, "expire-time": 0,
          "transmit-maximum-bytes": 0, "receive-maximum-bytes": 0, "traffic-limit": 0,
          "max-session-time": 7200, "away-timeout": 3600}]}}}]
})";

class Daemons {
public:
    Daemons(const AccessPointNetwork& net, const std::string& directory) {
        ostrel::testing::writeFile(directory + "/vestad.json", kConfiguration);
        ostrel::testing::writeFile(directory + "/factory.json",
                                   R"({"device-name": "hall", "serial-number": "1",
                                       "hardware-version": "1", "mac": "02:00:00:0a:00:01",
                                       "mac2": "02:00:00:0b:00:01"})");
        setenv("OSTREL_FACTORY_FILE", (directory + "/factory.json").c_str(), 1);
        net.ap.inside([&] {
            start({"configd", directory + "/vestad.json"});
            start({"redirectord", "--interface", "va1", "--uplink", "up0"});
            start({"monitord"});
            start({"portald", "--terms", "hall"});
            vestad_.start({std::string(PROGRAMS) + "/vestad"});
        });
        std::this_thread::sleep_for(std::chrono::seconds(4));
    }
    // Of the companions; vestad has figures of its own. A page that several share counts once.
    [[nodiscard]] double residentMiB() const {
        double sum = 0;
        for (const auto& companion : companions_) {
            sum += static_cast<double>(proportionalKiB(companion->pid()));
        }
        return sum / 1024;
    }

private:
    void start(std::vector<std::string> words) {
        words[0] = std::string(PROGRAMS) + '/' + words[0];
        companions_.push_back(std::make_unique<testing::ChildProcess>(words));
    }

    std::vector<std::unique_ptr<testing::ChildProcess>> companions_;
    testing::ChildProcess vestad_;
};

// The whole internet: one answer to everybody.
class WebServer {
public:
    explicit WebServer(const NetNamespace& internet)
        : server_(testing::serverSocket(internet, SOCK_STREAM, testing::kInternet, 80)),
          thread_([this] { serve(); }) {}
    ~WebServer() {
        ending_ = true;
        thread_.join();
    }

private:
    void serve() const {
        const std::string answer = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";
        char buffer[4096];
        while (!ending_) {
            if (testing::readableWithin(server_.get(), std::chrono::milliseconds(20))) {
                const ostrel::Fd one(accept4(server_.get(), nullptr, nullptr, SOCK_CLOEXEC));
                (void)!recv(one.get(), buffer, sizeof buffer, 0);
                (void)!send(one.get(), answer.data(), answer.size(), MSG_NOSIGNAL);
            }
        }
    }

    const ostrel::Fd server_;
    std::atomic<bool> ending_{false};
    std::thread thread_;
};

// Each station calls `work` on a thread of its own, all at once; the milliseconds of each.
template <typename Work>
std::vector<double> allAtOnce(const NetNamespace& space, std::size_t first, std::size_t count,
                              Work work) {
    std::vector<double> times(count);
    std::vector<std::thread> threads;
    std::atomic<bool> go{false};
    for (std::size_t i = 0; i < count; ++i) {
        threads.emplace_back([&, i] {
            space.inside([&] {
                while (!go) {
                    std::this_thread::yield();
                }
                times[i] = millisecondsOf([&] { work(first + i); });
                return 0;
            });
        });
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    go = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    return times;
}

void measureRedirects(const NetNamespace& space) {
    std::vector<double> first;
    std::vector<double> alone;
    for (std::size_t station = 0; station < 20; ++station) {
        space.inside([&] {
            first.push_back(millisecondsOf([&] { redirectOf(station); }));
            return 0;
        });
    }
    // They come one behind the other: vestad asks for the newest records ten times a second.
    const double longest = *std::max_element(first.begin(), first.end());
    printRow("ms from the first packet of a new station to its redirect, median of 20",
             "at most 150", twoDigits(medianOf(first)) + " (longest " + twoDigits(longest) + ')',
             medianOf(first) <= 150);
    for (std::size_t station = 20; station < 120; ++station) {
        space.inside([&] {
            redirectOf(station);
            alone.push_back(millisecondsOf([&] { redirectOf(station); }));
            return 0;
        });
    }
    printRow("ms from a captive station's GET to its redirect, one at a time, median", "at most 2",
             twoDigits(medianOf(alone)), medianOf(alone) <= 2);
    const double together =
        medianOf(allAtOnce(space, 20, 100, [](std::size_t station) { redirectOf(station); }));
    printRow("the same, 100 at a time", "at most 30", twoDigits(together), together <= 30);
    std::atomic<std::size_t> count{0};
    constexpr double kSpan = 3;
    allAtOnce(space, 20, 16, [&](std::size_t station) {
        const auto end = Clock::now() + std::chrono::duration<double>(kSpan);
        while (Clock::now() < end) {
            redirectOf(station);
            ++count;
        }
    });
    const double rate = static_cast<double>(count) / kSpan;
    printRow("redirects a second", "at least 3,000", std::to_string(static_cast<long>(rate)),
             rate >= 3000);
}

void measureLogins(const NetNamespace& space) {
    std::vector<double> alone;
    for (std::size_t station = 20; station < 40; ++station) {
        space.inside([&] {
            alone.push_back(millisecondsOf([&] { logIn(station); }));
            return 0;
        });
    }
    printRow(
        "ms of a login through the page until the internet's first byte, one at a time, median",
        "at most 20", twoDigits(medianOf(alone)), medianOf(alone) <= 20);
    constexpr std::size_t kCount = 80;
    const std::vector<double> times = allAtOnce(space, 40, kCount, logIn);
    const double rate = kCount * 1000 / *std::max_element(times.begin(), times.end());
    printRow("logins a second, 80 at once", "at least 300", std::to_string(static_cast<long>(rate)),
             rate >= 300);
}

// Stations that only ever sent one packet.
void announce(const testing::SimulatedStation& station, std::size_t from, std::size_t to) {
    station.space.inside([&] {
        const ostrel::Fd raw(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0));
        sockaddr_ll where{};
        where.sll_family = AF_PACKET;
        where.sll_ifindex = static_cast<int>(if_nametoindex("eth0"));
        for (std::size_t number = from; number < to; ++number) {
            const auto high = static_cast<char>(number >> 8U);
            const auto low = static_cast<char>(number);
            const std::string mac{2, 9, 0, 0, high, low};
            const std::string ip{10, 77, high, low};
            // A request of ARP (RFC 826) for the access point.
            const std::string frame = std::string(6, '\xff') + mac +
                                      std::string("\x08\x06\x00\x01\x08\x00\x06\x04\x00\x01", 10) +
                                      mac + ip + std::string(6, '\0') + std::string{10, 77, 1, 1};
            (void)!sendto(raw.get(), frame.data(), frame.size(), 0,
                          reinterpret_cast<const sockaddr*>(&where), sizeof where);
            if (number % 10 == 0) {
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
        }
        return 0;
    });
    std::this_thread::sleep_for(std::chrono::seconds(10));
}

void printMemory(const Daemons& daemons, const AccessPointNetwork& net, double bound) {
    const double resident = daemons.residentMiB();
    const int stations =
        std::stoi(net.ap.output("nft list set netdev vesta seen | grep -o va1 | wc -l"));
    printRow("MiB resident of configd, redirectord, monitord and portald at " +
                 std::to_string(stations) + " stations",
             "at most " + std::to_string(static_cast<int>(bound)), twoDigits(resident),
             resident <= bound);
}

void measure() {
    if (mount("none", "/run", "tmpfs", 0, "") != 0) {
        throw std::runtime_error("no directory /run of its own");
    }
    const testing::RuntimeDirectory runtime;
    const AccessPointNetwork net(testing::Layout::routed, 1);
    const testing::SimulatedStation& trunk = net.station(1);
    makeStations(trunk.space, kStations);
    const Daemons daemons(net, runtime.path());
    const WebServer web(net.internet);
    printMemory(daemons, net, 15);
    measureRedirects(trunk.space);
    measureLogins(trunk.space);
    announce(trunk, 1024, 1024 + 80);
    printMemory(daemons, net, 16);
    announce(trunk, 1024 + 80, 1024 + 9880);
    printMemory(daemons, net, 40);
}

}  // namespace
}  // namespace vesta::bench

int main() {
    return vesta::bench::runInNamespaces(vesta::bench::measure);
}
