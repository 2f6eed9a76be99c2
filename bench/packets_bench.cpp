// What redirectord costs the packets of real stations, and how fast it follows vestad: one access
// point with it beside one without any firewall. Prints its rows of the table that scripts/bench
// shows. Takes root or user namespaces, and iperf3.

#include <cstdio>
#include <exception>
#include <nlohmann/json.hpp>

#include "companions/redirectord/daemon_side.h"
#include "flows.h"
#include "in_namespaces.h"
#include "mac_flood.h"
#include "median.h"
#include "ostrel/modules.h"
#include "process_figures.h"
#include "table.h"

namespace vesta::bench {
namespace {

using testing::AccessPointNetwork;
using testing::Layout;
using testing::Request;
using testing::SimulatedStation;

constexpr std::size_t kStations = 10'000;

// The access point with redirectord, and vestad's side of it. The first two stations are real, the
// others have addresses and elements.
class Firewalled {
public:
    Firewalled() : net(Layout::routed, 2), redirector_(net, 2) {
        redirector_.process().stopHearing();
        for (int number : {1, 2}) {
            if (const int result = vestad.tell(Request::pass, net.station(number)); result != 0) {
                throw std::runtime_error("redirectord admits nobody: " + std::to_string(result));
            }
        }
    }
    void admit(std::size_t stations) {
        for (; admitted_ < stations; ++admitted_) {
            tell(Request::pass, admitted_);
        }
    }
    // Of the stations without a body.
    void tell(Request request, std::size_t station) {
        if (vestad.tell(request, "va2", ostrel::macText(macOf(station)), ipOf(station)) != 0) {
            throw std::runtime_error("redirectord refuses a station");
        }
    }
    [[nodiscard]] std::size_t rules() const {
        const auto all = nlohmann::json::parse(net.ap.output("nft -j list ruleset"));
        std::size_t count = 0;
        for (const auto& object : all.at("nftables")) {
            count += object.contains("rule") ? 1U : 0U;
        }
        return count;
    }

    [[nodiscard]] long redirectorKiB() { return residentKiB(redirector_.process().pid()); }

    AccessPointNetwork net;

private:
    testing::RedirectorProcess redirector_;

public:
    testing::DaemonSide vestad;

private:
    static ostrel::MacBytes macOf(std::size_t station) {
        return {6,
                0,
                0,
                0,
                static_cast<std::uint8_t>(station >> 8U),
                static_cast<std::uint8_t>(station)};
    }
    static std::string ipOf(std::size_t station) {
        return "10.80." + std::to_string(station >> 8U) + '.' + std::to_string(station & 255U);
    }

    std::size_t admitted_ = 1;
};

// Gbit/s of TCP.
double throughput(const AccessPointNetwork& net, bool fromStation) {
    const auto answer = nlohmann::json::parse(net.station(1).space.output(
        std::string("iperf3 -J -t 1 -c ") + testing::kInternet + (fromStation ? "" : " -R")));
    return answer.at("end").at("sum_received").at("bits_per_second").get<double>() / 1e9;
}

void compareThroughput(const Firewalled& firewalled, const AccessPointNetwork& bare,
                       const std::string& where) {
    constexpr int kRounds = 5;
    for (const bool fromStation : {false, true}) {
        // The best round of each: what disturbs the machine makes rounds slower only.
        double base = 0;
        double speed = 0;
        for (int round = 0; round < kRounds; ++round) {
            base = std::max(base, throughput(bare, fromStation));
            speed = std::max(speed, throughput(firewalled.net, fromStation));
        }
        printRow("TCP " + std::string(fromStation ? "from" : "to") + " an admitted station " +
                     where + " / without any firewall",
                 "at least 0.95",
                 twoDigits(speed / base) + " (" + twoDigits(speed) + " / " + twoDigits(base) +
                     " Gbit/s)",
                 speed / base >= 0.95);
    }
}

void measureStateChanges(Firewalled& firewalled) {
    constexpr std::size_t kChanges = 4000;
    const auto begin = Clock::now();
    for (std::size_t change = 0; change < kChanges; ++change) {
        // Each station twice, far from each other: unauthorised, then authorised again.
        firewalled.tell(change % 2 == 0 ? Request::captive : Request::pass,
                        1 + (change / 2 * 7919) % (kStations - 1));
    }
    const double rate = kChanges / Seconds(Clock::now() - begin).count();
    printRow("state changes a second at " + std::to_string(kStations) + " stations",
             "at least 2,000", std::to_string(static_cast<long>(rate)), rate >= 2000);
}

void measureEnd(Firewalled& firewalled, Protocol protocol) {
    constexpr int kRounds = 5;
    double longest = 0;
    for (int round = 0; round < kRounds; ++round) {
        Flow flow(firewalled.net, 1, protocol, Direction::toStation);
        flow.receive(Seconds(0.3));
        const auto end = Clock::now();
        firewalled.vestad.tell(Request::captive, firewalled.net.station(1));
        flow.receive(Seconds(0.5));
        if (flow.total() == 0) {
            throw std::runtime_error("nothing arrived before the end");
        }
        longest = std::max(longest, Seconds(flow.lastArrival() - end).count());
        firewalled.vestad.tell(Request::pass, firewalled.net.station(1));
    }
    printRow(std::string("ms from the end of an authorisation to the last forwarded byte, ") +
                 (protocol == Protocol::tcp ? "TCP" : "UDP") + ", longest of 5",
             "at most 100", twoDigits(longest * 1000), longest <= 0.1);
}

void command(const std::string& words) {
    if (ostrel::writeModuleFile(ostrel::kShaperPath, words) != 0) {
        throw std::runtime_error("no shaper hears: " + words);
    }
}

void measureSpeed(const AccessPointNetwork& net, Direction direction) {
    constexpr double kLimit = 1'250'000;
    constexpr int kSpan = 15;
    const SimulatedStation& station = net.station(1);
    command("sta add " + station.device + ' ' + station.mac +
            " 2 1250000 1250000 2 1250000 1250000\n");
    // The command is carried out while nobody waits for it.
    usleep(200'000);
    Flow flow(net, 1, Protocol::tcp, direction);
    double least = 2;
    double most = 0;
    std::string first;
    for (int second = 1; second <= kSpan; ++second) {
        const double before = flow.total();
        flow.receive(Seconds(1));
        const double share = (flow.total() - before) / kLimit;
        if (second == 1) {
            first = twoDigits(10 * share);
            continue;
        }
        least = std::min(least, share);
        most = std::max(most, share);
    }
    printRow(std::string("Mbit/s of TCP in seconds 2 to 15 where 10 are asked for, ") +
                 (direction == Direction::toStation ? "to" : "from") + " the station",
             "9.5 to 10.5",
             twoDigits(10 * least) + " to " + twoDigits(10 * most) + " (second 1: " + first + ")",
             least >= 0.95 && most <= 1.05);
    command("sta del " + station.device + ' ' + station.mac);
}

void measureFlood(Firewalled& firewalled) {
    constexpr double kSpan = 5;
    std::vector<double> connections;
    double longestRequest = 0;
    const long before = firewalled.redirectorKiB();
    const ostrel::Fd server =
        testing::serverSocket(firewalled.net.internet, SOCK_STREAM, testing::kInternet, 7778);
    const MacFlood flood(firewalled.net.station(2));
    const auto begin = Clock::now();
    while (Clock::now() - begin < Seconds(kSpan)) {
        connections.push_back(millisecondsOf([&] {
            if (testing::connectFrom(firewalled.net.station(1).space, testing::kInternet, 7778)
                    .error != 0) {
                throw std::runtime_error("an admitted station is shut out by the flood");
            }
        }));
        longestRequest =
            std::max(longestRequest, millisecondsOf([&] { firewalled.tell(Request::pass, 1); }));
        close(accept4(server.get(), nullptr, nullptr, SOCK_CLOEXEC));
        usleep(10'000);
    }
    const double rate = static_cast<double>(flood.sent()) / Seconds(Clock::now() - begin).count();
    printRow("new MACs a second that one station makes up", "at least 100,000 arrive",
             std::to_string(static_cast<long>(rate)), rate >= 100'000);
    printRow("ms of an admitted station's new connection meanwhile, median", "at most 10",
             twoDigits(medianOf(connections)), medianOf(connections) <= 10);
    printRow("ms of a request of vestad meanwhile, longest", "at most 100",
             twoDigits(longestRequest), longestRequest <= 100);
    const long grown = firewalled.redirectorKiB() - before;
    printRow("KiB that redirectord grows by it", "at most 8,192", std::to_string(grown),
             grown <= 8192);
}

void measure() {
    const testing::RuntimeDirectory runtime;
    const AccessPointNetwork bare(Layout::routed, 1);
    Firewalled firewalled;
    const std::size_t rules = firewalled.rules();
    testing::ChildProcess bareServer;
    testing::ChildProcess server;
    bare.internet.inside([&] { bareServer.start({"iperf3", "-s", "--logfile", "/dev/null"}); });
    firewalled.net.internet.inside([&] {
        server.start({"iperf3", "-s", "--logfile", "/dev/null"});
    });
    usleep(500'000);
    for (const std::size_t stations : {std::size_t{1}, std::size_t{1000}, kStations}) {
        firewalled.admit(stations);
        compareThroughput(firewalled, bare, "beside " + std::to_string(stations));
    }
    const std::size_t more = firewalled.rules() - rules;
    printRow("firewall rules that " + std::to_string(kStations) + " stations add", "0",
             std::to_string(more), more == 0);
    measureStateChanges(firewalled);
    measureEnd(firewalled, Protocol::tcp);
    measureEnd(firewalled, Protocol::udp);
    measureSpeed(firewalled.net, Direction::toStation);
    measureSpeed(firewalled.net, Direction::fromStation);
    // The queues of the limits stay.
    compareThroughput(firewalled, bare, "on devices with limits");
    measureFlood(firewalled);
}

}  // namespace
}  // namespace vesta::bench

int main() {
    return vesta::bench::runInNamespaces(vesta::bench::measure);
}
