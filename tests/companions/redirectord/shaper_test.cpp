// The speeds of stations, measured on real packets, and the commands that set them.

#include "redirectord/shaper.h"

#include <gmock/gmock.h>
#include <ifaddrs.h>
#include <linux/if_link.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "access_point.h"
#include "monitord/counters.h"
#include "redirectord/ruleset.h"

namespace vesta::testing {
namespace {

using namespace redirectord;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

struct LineCase {
    const char* line;
    const char* problem;  // a part of it; "" when the line is good
    SpeedLimits limits;
};

class ShaperLineTest : public ::testing::TestWithParam<LineCase> {};

TEST_P(ShaperLineTest, is_read_or_refused_with_its_reason) {
    const auto& [line, wanted, limits] = GetParam();
    std::string problem;
    const auto command = parseShaperCommand(line, problem);
    ASSERT_EQ(command.has_value(), *wanted == '\0') << problem;
    EXPECT_THAT(problem, ::testing::HasSubstr(wanted));
    if (command) {
        EXPECT_EQ(command->station.nftText(), "\"va1\" . 02:00:00:00:01:0a");
        EXPECT_EQ(command->limits.toStation, limits.toStation);
        EXPECT_EQ(command->limits.fromStation, limits.fromStation);
    }
}

constexpr LineCase kLines[] = {
    {"sta add va1 02:00:00:00:01:0a 2 2048 2048 2 1024 1024\n", "", {2048, 1024}},
    {"sta add va1 02:00:00:00:01:0A 0 0 0 2 4294966272 1", "", {0, 4294966272}},
    {"sta add va1 02:00:00:00:01:0a 0 7 7 0 0 0\n", "", {0, 0}},
    {"sta del va1 02:00:00:00:01:0a", "", {0, 0}},
    {"", "neither", {}},
    {"sta", "neither", {}},
    {"sta mod va1 02:00:00:00:01:0a", "neither", {}},
    {"sta del va1 02:00:00:00:01:0a 2", "neither", {}},
    {"sta add va1 02:00:00:00:01:0a 2 2048 2048 2 1024", "neither", {}},
    {"sta del a-name-too-long1 02:00:00:00:01:0a", "no device", {}},
    {"sta del va1 02:00:00:00:01", "no hardware address", {}},
    {"sta add va1 02:00:00:00:01:0a 1 2048 2048 2 1024 1024", "mode \"1\"", {}},
    {"sta add va1 02:00:00:00:01:0a 2 0 0 2 1024 1024", "limit of 0", {}},
    {"sta add va1 02:00:00:00:01:0a 2 -1 1 2 1024 1024", "\"-1\"", {}},
    {"sta add va1 02:00:00:00:01:0a 2 4294967296 1 2 1024 1024", "\"4294967296\"", {}},
    {"sta add va1 02:00:00:00:01:0a 2 20x 1 2 1024 1024", "\"20x\"", {}},
};
INSTANTIATE_TEST_SUITE_P(Lines, ShaperLineTest, ::testing::ValuesIn(kLines));

std::vector<std::string> reports;

// Two admitted stations behind a shaper. Everything of it happens in the access point's namespace.
class ShaperTest : public NetworkTest {
protected:
    template <typename Work>
    auto inAp(Work work) const {
        return net->ap.inside(work);
    }
    void begin(Layout layout = Layout::routed) {
        reports.clear();
        ostrel::setLogSink([](ostrel::LogLevel, const char* text) { reports.emplace_back(text); });
        net = std::make_unique<AccessPointNetwork>(layout);
        inAp([this] {
            nft = std::make_unique<Nft>();
            ASSERT_TRUE(nft->run(baseRuleset() + hookDevice("va1") + hookDevice("va2")))
                << nft->error();
            ElementBatch batch;
            for (int number : {1, 2}) {
                batch.addMark("stations", keyOf(number).bytes(), kMarkPass);
                batch.add("receivers", keyOf(number).bytes());
                batch.add("up", keyOf(number).bytes());
                batch.add("down", keyOf(number).bytes());
            }
            ASSERT_EQ(batch.run(), 0);
        });
        restart();
    }
    void TearDown() override { ostrel::setLogSink(nullptr); }

    // A shaper ends without a word to the kernel, as one that is killed.
    void restart() {
        inAp([this] {
            shaper = std::make_unique<Shaper>(*nft, "up0", std::vector<std::string>{"va1", "va2"});
        });
    }
    [[nodiscard]] StationKey keyOf(int number) const {
        const SimulatedStation& station = net->station(number);
        return StationKey(station.device, *ostrel::parseMac(station.mac));
    }
    void limit(int number, std::uint32_t toStation, std::uint32_t fromStation) {
        const auto direction = [](std::uint32_t rate) {
            const std::string text = ' ' + std::to_string(rate);
            return (rate == 0 ? " 0" : " 2") + text + text;
        };
        const SimulatedStation& station = net->station(number);
        line("sta add " + station.device + ' ' + station.mac + direction(toStation) +
             direction(fromStation) + '\n');
    }
    void line(const std::string& text) {
        inAp([&] { shaper->shaperLine(text); });
    }
    [[nodiscard]] std::string queues(const std::string& device) const {
        return net->ap.output("tc qdisc show dev " + device + "; tc class show dev " + device);
    }

    std::unique_ptr<AccessPointNetwork> net;
    std::unique_ptr<Nft> nft;
    std::unique_ptr<Shaper> shaper;
};

enum class Direction { toStation, fromStation };

// What the device "eth0" there has received.
rtnl_link_stats received(const NetNamespace& where) {
    ifaddrs* all = nullptr;
    rtnl_link_stats found{};
    if (where.inside([&all] { return getifaddrs(&all); }) == 0) {
        for (const ifaddrs* one = all; one != nullptr; one = one->ifa_next) {
            if (one->ifa_addr->sa_family == AF_PACKET && one->ifa_name[0] == 'e') {
                found = *static_cast<const rtnl_link_stats*>(one->ifa_data);
            }
        }
        freeifaddrs(all);
    }
    return found;
}

// A load or an upload of a station. The receiver's device counts: TCP hands over what it received
// only when nothing before it is missing.
class Flow {
public:
    Flow(const AccessPointNetwork& net, int number, const std::string& internet,
         Direction direction) {
        const bool v4 = internet.find(':') == std::string::npos;
        const NetNamespace& station = net.station(number).space;
        const ostrel::Fd server =
            serverSocket(net.internet, SOCK_STREAM, v4 ? "0.0.0.0" : "::", 7777);
        from_ = connectFrom(station, internet, 7777).fd;
        to_.reset(accept4(server.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        receiver_ = &net.internet;
        if (direction == Direction::toStation) {
            std::swap(from_, to_);
            receiver_ = &station;
        }
    }
    // Bytes a second that arrive once the queue is full, as a part of `limit`: the most in three
    // spans. What is missing in one may be TCP's doing, or a busy machine's.
    double share(std::uint32_t limit) {
        constexpr double kHeaders = 1.02;  // a device counts them; those of joined packets once
        pump(milliseconds(300));
        double most = 0;
        for (int span = 0; span < 3 && most < 0.97; ++span) {
            const std::uint32_t before = received(*receiver_).rx_bytes;
            const auto begin = Clock::now();
            pump(milliseconds(1000));
            const std::uint32_t arrived = received(*receiver_).rx_bytes - before;
            const std::chrono::duration<double> passed = Clock::now() - begin;
            most = std::max(most, arrived / passed.count() / kHeaders / limit);
        }
        return most;
    }

private:
    void pump(milliseconds span) {
        std::vector<char> buffer(65536);
        for (const auto end = Clock::now() + span; Clock::now() < end;) {
            pollfd both[] = {{from_.get(), POLLOUT, 0}, {to_.get(), POLLIN, 0}};
            poll(both, 2, 10);
            if ((both[0].revents & POLLOUT) != 0) {
                std::ignore = send(from_.get(), buffer.data(), buffer.size(), MSG_NOSIGNAL);
            }
            if ((both[1].revents & POLLIN) != 0) {
                std::ignore = recv(to_.get(), buffer.data(), buffer.size(), 0);
            }
        }
    }

    ostrel::Fd from_;
    ostrel::Fd to_;
    const NetNamespace* receiver_;
};

constexpr std::uint32_t kFast = 2'500'000;  // 20 Mbit/s
constexpr std::uint32_t kSlow = 1'250'000;

TEST_F(ShaperTest, each_direction_has_its_speed_and_changes_in_place) {
    begin();
    limit(1, kFast, kSlow);
    EXPECT_NEAR(Flow(*net, 1, kInternet, Direction::fromStation).share(kSlow), 1, 0.05);
    EXPECT_GT(Flow(*net, 2, kInternet, Direction::toStation).share(kFast), 3);
    Flow load(*net, 1, kInternet, Direction::toStation);
    EXPECT_NEAR(load.share(kFast), 1, 0.05);
    limit(1, kSlow, 0);
    EXPECT_NEAR(load.share(kSlow), 1, 0.05);
    line("sta del va1 " + net->station(1).mac);
    EXPECT_GT(load.share(kFast), 3);
    EXPECT_GT(Flow(*net, 1, kInternet, Direction::fromStation).share(kFast), 3);
    EXPECT_THAT(reports, ::testing::IsEmpty());
}

TEST_F(ShaperTest, ports_of_a_bridge_are_limited_over_ipv6_too) {
    begin(Layout::bridged);
    limit(2, kSlow, kFast);
    EXPECT_NEAR(Flow(*net, 2, kInternet6, Direction::toStation).share(kSlow), 1, 0.05);
    EXPECT_NEAR(Flow(*net, 2, kInternet6, Direction::fromStation).share(kFast), 1, 0.05);
    EXPECT_GT(Flow(*net, 1, kInternet6, Direction::fromStation).share(kFast), 3);
}

TEST_F(ShaperTest, a_station_that_moved_to_another_port_keeps_its_limit_when_the_old_one_ends) {
    begin(Layout::bridged);
    limit(1, kFast, kFast);
    line("sta add va2 " + net->station(1).mac + " 2 9 9 2 8 8");
    line("sta del va1 " + net->station(1).mac);
    const std::string senders = net->ap.output("nft list map inet vesta shape_classes");
    EXPECT_THAT(senders, ::testing::HasSubstr(
                             "\"br0\" . 02:00:00:00:01:01 counter packets 0 bytes 0 : 7e52:2"));
}

TEST_F(ShaperTest, a_killed_shaper_leaves_its_limits_to_the_next) {
    begin();
    limit(1, kFast, kFast);
    limit(2, 0, kSlow);
    const std::string before = queues("va1") + queues("up0");
    restart();
    EXPECT_EQ(queues("va1") + queues("up0"), before);
    limit(1, kSlow, kFast);
    EXPECT_NEAR(Flow(*net, 1, kInternet, Direction::toStation).share(kSlow), 1, 0.05);
    EXPECT_NEAR(Flow(*net, 1, kInternet, Direction::fromStation).share(kFast), 1, 0.05);
    restart();
    limit(2, 0, 0);
    limit(1, 0, 0);
    inAp([this] { shaper->forgetStation(keyOf(2)); });
    inAp([this] { shaper->forgetStation(keyOf(1)); });
    EXPECT_GT(Flow(*net, 1, kInternet, Direction::toStation).share(kFast), 3);
    EXPECT_THAT(net->ap.output("nft list map inet vesta shape_classes"),
                Not(::testing::HasSubstr("02:00")));
    EXPECT_THAT(reports, ::testing::IsEmpty());
}

TEST_F(ShaperTest, a_device_that_comes_later_or_again_gets_its_limits) {
    begin();
    for (int time = 0; time < 2; ++time) {
        net->ap.run("ip link set va1 name gone1; ip link set up0 name gone0");
        net->ap.run("(tc qdisc del dev gone1 root; tc qdisc del dev gone0 root) 2>/dev/null; true");
        inAp([this] { shaper->look(); });
        limit(1, kFast, kFast);
        net->ap.run("ip link set gone1 name va1; ip link set gone0 name up0");
        inAp([this] { shaper->deviceAppeared("va1"); });
        inAp([this] { shaper->look(); });
        EXPECT_THAT(queues("va1"), ::testing::HasSubstr("htb 7e51:1 root"));
        EXPECT_THAT(queues("up0"), ::testing::HasSubstr("htb 7e52:1 root"));
    }
    EXPECT_THAT(reports, ::testing::IsEmpty());
}

TEST_F(ShaperTest, queues_of_somebody_else_stay) {
    begin();
    net->ap.run("tc qdisc add dev up0 root handle 1: tbf rate 1gbit burst 1mb latency 50ms");
    limit(1, kFast, kFast);
    limit(2, kFast, kFast);
    ASSERT_THAT(reports, ::testing::SizeIs(1));
    EXPECT_THAT(reports[0], ::testing::HasSubstr("up0 has a queueing discipline that is not ours "
                                                 "(tbf 1:)"));
    EXPECT_THAT(queues("va1"), ::testing::HasSubstr("htb 7e51:1 root"));
    net->ap.run("tc qdisc del dev up0 root");
    inAp([this] { shaper->look(); });
    EXPECT_THAT(queues("up0"), ::testing::HasSubstr("htb 7e52:2 root"));
    net->ap.run(
        "tc qdisc del dev up0 root; tc qdisc add dev up0 root handle 1: tbf rate 1gbit burst 1mb "
        "latency 50ms");
    EXPECT_TRUE(inAp([] { return Shaper::removeQueues(); }));
    EXPECT_THAT(queues("va1"), Not(::testing::HasSubstr("htb")));
    EXPECT_THAT(queues("up0"), ::testing::HasSubstr("tbf 1:"));
}

TEST_F(ShaperTest, limits_outlive_the_tables) {
    begin();
    limit(1, kFast, kSlow);
    const auto limits = shaper->limits();
    inAp([this] { ASSERT_TRUE(nft->run(removeRuleset() + baseRuleset())) << nft->error(); });
    restart();
    inAp([&] {
        for (const auto& [key, one] : limits) {
            shaper->setLimits(key, one);
        }
    });
    EXPECT_THAT(
        net->ap.output("nft list map inet vesta shape_classes"),
        ::testing::HasSubstr("\"va1\" . 02:00:00:00:01:01 counter packets 0 bytes 0 : 7e52:1"));
    EXPECT_THAT(queues("va1"), ::testing::HasSubstr("htb 7e51:1 root"));
}

// More datagrams to station 1 or from it than a limit lets through.
void flood(const AccessPointNetwork& net, Direction direction) {
    const bool up = direction == Direction::fromStation;
    const Endpoint there(up ? kInternet : net.station(1).ip, 7777);
    const NetNamespace& from = up ? net.station(1).space : net.internet;
    const ostrel::Fd fd(from.inside([] { return socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0); }));
    const std::vector<char> datagram(1400);
    for (int burst = 0; burst < 5; ++burst) {
        for (int count = 0; count < 150; ++count) {
            std::ignore =
                sendto(fd.get(), datagram.data(), datagram.size(), 0, there.get(), there.size);
        }
        usleep(20'000);
    }
    usleep(200'000);  // until the queue is empty
}

TEST_F(ShaperTest, what_arrived_counts_and_not_what_a_queue_lost) {
    begin();
    const std::function<void()> steps[] = {
        [this] { limit(1, kSlow, kSlow); },
        [this] { limit(1, kFast, kSlow / 2); },
        [this] { restart(); },
        [this] { line("sta del va1 " + net->station(1).mac); },
        [this] { limit(1, kSlow, kFast); },
        [this] {
            // Its class goes to another station, and it gets that of nobody.
            inAp([this] { shaper->forgetStation(keyOf(1)); });
            limit(2, kSlow, kSlow);
            limit(1, kSlow, kSlow);
        },
    };
    const auto passed = [this](Direction direction) {
        const auto sample = inAp([] { return monitord::CounterReader().read(); });
        for (const auto& one : direction == Direction::toStation ? sample.down : sample.up) {
            if (one.station == keyOf(1)) {
                return static_cast<double>(one.passage.passed.bytes);
            }
        }
        return -1.0;
    };
    int number = 0;
    for (const auto& step : steps) {
        SCOPED_TRACE(++number);
        step();
        for (const Direction direction : {Direction::toStation, Direction::fromStation}) {
            const NetNamespace& receiver =
                direction == Direction::toStation ? net->station(1).space : net->internet;
            const rtnl_link_stats before = received(receiver);
            const double passedBefore = passed(direction);
            flood(*net, direction);
            const rtnl_link_stats after = received(receiver);
            const double arrived =
                after.rx_bytes - before.rx_bytes - 14.0 * (after.rx_packets - before.rx_packets);
            EXPECT_NEAR(passed(direction) - passedBefore, arrived, arrived / 100);
            EXPECT_EQ(arrived < 900'000, number != 4) << arrived;
        }
    }
}

TEST_F(ShaperTest, a_bad_line_costs_one_report_and_nothing_else) {
    begin();
    limit(1, kFast, kFast);
    const std::string before = queues("va1") + queues("up0");
    line("sta add va1 02:00:00:00:01:01 2 1 1 3 1 1");
    line("sta add up0 02:00:00:00:01:01 2 1 1 2 1 1");
    EXPECT_THAT(reports, ::testing::ElementsAre(::testing::HasSubstr("mode \"3\""),
                                                ::testing::HasSubstr("up0 is no captive device")));
    EXPECT_EQ(queues("va1") + queues("up0"), before);
}

}  // namespace
}  // namespace vesta::testing
