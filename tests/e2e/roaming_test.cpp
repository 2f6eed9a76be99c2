// A mobility domain of two access points, each with a vestad and an apbd process, and a broker
// between them; and stations that walk from one to the other: what a user who walks, and an
// operator who restarts, may expect.

#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "apsim/radius_server.h"
#include "apsim/road_expectations.h"
#include "daemon_test.h"
#include "support/broker.h"

namespace vesta::testing {
namespace {

using apsim::Access;
using apsim::Json;
using apsim::Party;

// Every access point serves the same networks. In each, a login leads to the scenario whose speeds
// are kTransmit and kReceive: the second of two, or the third of five.
struct Network {
    const char* interface;
    const char* ssid;
    std::string mode;  // "verification-mode"
    bool five;
    int sessionSeconds = 3600;
};
const Network kNetworks[] = {
    {"wlan0-va1", "Cafe", "local", false},       {"wlan0-va2", "Library", "local", true},
    {"wlan0-va3", "Hotel", "portal", false},     {"wlan0-va4", "Resort", "portal", true},
    {"wlan0-va5", "Campus", "radius", false},    {"wlan0-va6", "Institute", "radius", true},
    {"wlan0-va7", "Station", "local", false, 4},
};
const Network& kTwo = kNetworks[0];
const Network& kFive = kNetworks[1];
const Network& kShort = kNetworks[6];  // no scenario stands behind the one that expires

constexpr int kTransmit = 2048;  // Kibit/s, as kReceive
constexpr int kReceive = 512;
constexpr const char* kPassword = "secret";
constexpr std::chrono::seconds kPatience{20};

// A server has to stand in each daemon's own network.
bool hasRadius() {
    return geteuid() == 0;
}

void passSeconds(int seconds) {
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
}

Json interfaceOf(const Network& network) {
    Json entry = Json::parse(vapText(network.interface, network.ssid, network.mode));
    const Json speeds = {{"access-type", "allow"},
                         {"transmit-maximum-speed", kTransmit},
                         {"receive-maximum-speed", kReceive},
                         {"max-session-time", network.sessionSeconds}};
    Json list = Json::parse("[" + std::string(kLoginAndGuest) + "]");
    list[1].update(speeds);
    if (network.five) {
        list[0]["auth-scenario"] = "gold";
        list[1]["receive-maximum-speed"] = 1;
        list.push_back({{"name", "gold"}, {"deauth-scenario", "over"}});
        list.back().update(speeds);
        list.push_back({{"access-type", "forbid"}, {"name", "over"}, {"redirect-url", "http://p"}});
        list.push_back({{"access-type", "allow"}, {"name", "late"}});
    }
    entry["vap"]["captive-portal"]["scenarios"] = list;
    if (network.mode == "radius") {
        entry["vap"]["captive-portal"]["acct-enable"] = true;
        entry["vap"]["radius"] = {{"domain", "hall.example"}, {"auth-acct-id-send", true}};
    }
    return entry;
}

// A server in the network of the daemon, whose loopback it puts up.
std::unique_ptr<apsim::RadiusServer> radiusServerBeside(pid_t daemon, apsim::EventLog& log) {
    std::unique_ptr<apsim::RadiusServer> server;
    std::thread([&] {
        const std::string name = "/proc/" + std::to_string(daemon) + "/ns/net";
        const ostrel::Fd space(open(name.c_str(), O_RDONLY | O_CLOEXEC));
        ASSERT_EQ(setns(space.get(), CLONE_NEWNET), 0);
        const ostrel::Fd any(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        ifreq request{};
        request.ifr_name[0] = 'l';
        request.ifr_name[1] = 'o';
        request.ifr_flags = IFF_UP;
        ASSERT_EQ(ioctl(any.get(), SIOCSIFFLAGS, &request), 0);
        apsim::RadiusBook book;
        book.secret = "shared";
        for (const Network& network : kNetworks) {
            book.users[network.ssid] = kPassword;
        }
        server = std::make_unique<apsim::RadiusServer>(book, log);
    }).join();
    return server;
}

struct Member {
    std::string directory;
    ChildProcess daemon;
    std::unique_ptr<apsim::RadiusServer> radius;
    std::unique_ptr<apsim::AccessPoint> accessPoint;
    ChildProcess apbd;
};

class RoamingTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!canIsolate()) {
            GTEST_SKIP() << "this machine does not let us make a mount namespace";
        }
        if (!Broker::possible()) {
            GTEST_SKIP() << "no mosquitto installed";
        }
        const std::string tools = directory_.path("tools");
        std::filesystem::create_directory(tools);
        std::filesystem::create_symlink(APSIM_PROGRAM, tools + "/deauth-client");
        path_ = tools + ":" + getenv("PATH");
        broker_.start();
        for (std::size_t i = 0; i < members_.size(); ++i) {
            Member& member = members_[i];
            const std::string name = i == 0 ? "hall" : "garden";
            member.directory = directory_.path(name);
            std::filesystem::create_directories(member.directory + "/run");
            ostrel::testing::writeFile(member.directory + "/factory.json",
                                       Json({{"device-name", name},
                                             {"serial-number", name},
                                             {"hardware-version", "1"},
                                             {"mac", "02:00:00:0a:00:0" + std::to_string(i + 1)},
                                             {"mac2", "02:00:00:0b:00:01"}})
                                           .dump());
            startApbd(member);
            startDaemon(member);
        }
    }

    void startApbd(Member& member) {
        setEnvironment(member);
        member.apbd.start({APBD_PROGRAM, "--port", broker_.port()});
    }

    // The access point stays when the daemon is started anew.
    void startDaemon(Member& member) {
        setEnvironment(member);
        const std::uint32_t gone =
            member.accessPoint ? member.accessPoint->redirector().notifyPid() : 0;
        member.daemon.start(isolated(VESTAD_PROGRAM, member.directory + "/run"),
                            ChildProcess::Output::heard);
        if (!member.accessPoint) {
            ASSERT_TRUE(member.daemon.waitForText("waiting for the configuration"));
            if (hasRadius()) {
                member.radius = radiusServerBeside(member.daemon.pid(), log_);
            }
            apsim::AccessPointOptions options;
            options.log = &log_;
            options.runtimeDirectory = member.directory;
            member.accessPoint =
                std::make_unique<apsim::AccessPoint>(configuration(member), options);
        }
        ASSERT_TRUE(member.accessPoint->waitForDaemon(kPatience, gone));
    }

    void setEnvironment(const Member& member) const {
        setenv("OSTREL_RUNTIME_DIR", member.directory.c_str(), 1);
        setenv("OSTREL_FACTORY_FILE", (member.directory + "/factory.json").c_str(), 1);
        setenv("PATH", path_.c_str(), 1);
    }
    static Json configuration(const Member& member) {
        Json document = Json::parse(documentText(""));
        document["captive-portal"].update({{"logfile", member.directory + "/vestad.log"},
                                           {"loglevel", 7},
                                           {"apbd", {{"enabled", true}}}});
        for (const Network& network : kNetworks) {
            document["interface"].push_back(interfaceOf(network));
        }
        if (member.radius) {
            apsim::useRadiusServer(document, member.radius->address());
        }
        return document;
    }

    RuntimeDirectory directory_;
    apsim::EventLog log_;
    Broker broker_{directory_.path()};
    std::array<Member, 2> members_;
    std::string path_;

    // A station that is at one of the two.
    class Walker {
    public:
        Walker(RoamingTest& test, const Network& network)
            : log_(test.log_),
              network_(network),
              number_(1, std::string(network.interface).back()),
              stations_{stationAt(test.members_[0]), stationAt(test.members_[1])} {}

        [[nodiscard]] apsim::Station& here() { return stations_[at_]; }
        [[nodiscard]] apsim::Station& there() { return stations_[1 - at_]; }
        [[nodiscard]] bool waitFor(Access access) {
            return here().waitForAccess(access, kPatience);
        }

        // Arrives at the first access point, and is let through as its network would have it.
        void comeIn() {
            SCOPED_TRACE(network_.ssid);
            here().arrive();
            ASSERT_TRUE(waitFor(Access::unauthed));
            firstEvent_ = log_.size();
            loggedInAt_ = std::chrono::steady_clock::now();
            ASSERT_TRUE(here().login(network_.ssid, kPassword));
            if (network_.mode == "portal") {
                apsim::AccessPoint& point = here().accessPoint();
                ASSERT_TRUE(point.portal().update(here().ip(), network_.five ? "gold" : "guest"));
            }
            ASSERT_TRUE(waitFor(Access::authed));
        }
        // Is let through by its record, after it was known here without it and let go.
        void comeBackIn() {
            EXPECT_TRUE(waitFor(Access::unknown));
            firstEvent_ = log_.size();
            here().sendPacket();
            ASSERT_TRUE(waitFor(Access::authed)) << network_.ssid;
        }
        // Goes to the other access point; the one that it comes from sees that a moment later.
        void walk() {
            there().arrive();
            here().leave();
            at_ = 1 - at_;
        }
        // Seconds since the login.
        [[nodiscard]] double sessionTime() const {
            const auto passed = std::chrono::steady_clock::now() - loggedInAt_;
            return std::chrono::duration<double>(passed).count();
        }
        // Waits until right behind a pass of the daemon here that has seen it, when its session
        // time has just been counted.
        void awaitPass() {
            apsim::Monitord& monitord = here().accessPoint().monitord();
            EXPECT_TRUE(monitord.waitForAnswers(monitord.answers() + 2, kPatience));
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        // In its scenario, with its login and limits, within two seconds of its session time, and
        // without having noticed anything.
        void expectSession() {
            SCOPED_TRACE(network_.ssid);
            const Json now = apsim::clientOf(here()).value_or(Json());
            const double expected = sessionTime();
            ASSERT_TRUE(now.is_object()) << now;
            EXPECT_EQ(now["access-type"], "Allow");
            EXPECT_EQ(now["login"], network_.ssid);
            EXPECT_EQ(now["scenario-id-cur"], network_.five ? 0 : -1);
            EXPECT_NEAR(now["session-time"].get<double>(), expected, 2);
            const auto limits = here().accessPoint().modules().shaperLimits(here().id());
            ASSERT_TRUE(limits);
            EXPECT_EQ(limits->transmit, kTransmit * 1024UL);
            EXPECT_EQ(limits->receive, kReceive * 1024UL);
            for (const apsim::Event& event : log_.since(firstEvent_)) {
                EXPECT_FALSE(event.station.mac == here().id().mac && isStray(event))
                    << event.what << " on " << event.station.interface;
            }
        }

    private:
        [[nodiscard]] apsim::Station stationAt(const Member& member) const {
            return member.accessPoint->station(network_.interface, "02:00:00:00:00:0" + number_,
                                               "10.0.0." + number_);
        }
        // What a daemon must not do to a station with a session.
        static bool isStray(const apsim::Event& event) {
            return event.party == Party::deauth ||
                   (event.party == Party::redirector &&
                    (event.what == "unauthed" || event.what == "drop")) ||
                   (event.party == Party::radius && event.what == "reject");
        }

        apsim::EventLog& log_;
        const Network network_;
        const std::string number_;
        std::array<apsim::Station, 2> stations_;
        std::size_t at_ = 0;
        std::size_t firstEvent_ = 0;
        std::chrono::steady_clock::time_point loggedInAt_;
    };
};

TEST_F(RoamingTest, StationsWalkThereAndBack) {
    std::vector<Walker> walkers;
    for (const Network& network : kNetworks) {
        if (&network != &kShort && (network.mode != "radius" || hasRadius())) {
            walkers.emplace_back(*this, network).comeIn();
        }
    }
    constexpr int kHops = 8;
    for (int hop = 1; hop <= kHops && !HasFailure(); ++hop) {
        SCOPED_TRACE("hop " + std::to_string(hop));
        for (Walker& walker : walkers) {
            walker.walk();
        }
        for (Walker& walker : walkers) {
            EXPECT_TRUE(walker.waitFor(Access::authed));
            EXPECT_TRUE(walker.there().waitForAccess(Access::unknown, kPatience)) << "it left";
        }
        walkers[0].awaitPass();
        for (Walker& walker : walkers) {
            walker.expectSession();
        }
    }
    std::map<std::string, int> answers;
    for (const apsim::Event& event : log_.since()) {
        answers[event.what] += event.party == Party::radius ? 1 : 0;
    }
    const int stations = hasRadius() ? 2 : 0;
    EXPECT_EQ(answers["accept"], stations) << "a walk needs no login";
    EXPECT_EQ(answers["start"], (kHops + 1) * stations);
    EXPECT_EQ(answers["stop"], kHops * stations) << "each stay is billed";
}

// The access point that a station left has its apbd stopped while it notices, and tells of it when
// the station is at home elsewhere.
TEST_F(RoamingTest, NewsOfItsLeavingThatComesLateThrowsNobodyOff) {
    Walker walker(*this, kFive);
    walker.comeIn();
    passSeconds(2);
    members_[0].apbd.signal(SIGSTOP);
    walker.here().leave();
    EXPECT_TRUE(log_.waitFor(Party::trap, "cp-disconnected", walker.here().id(), kPatience));
    walker.walk();
    ASSERT_TRUE(walker.waitFor(Access::authed));
    members_[0].apbd.signal(SIGCONT);
    walker.awaitPass();
    walker.expectSession();
    walker.walk();
    ASSERT_TRUE(walker.waitFor(Access::authed));
    walker.awaitPass();
    walker.expectSession();
}

TEST_F(RoamingTest, ASessionThatEndsOnOneHasEndedOnBoth) {
    Walker walker(*this, kShort);
    walker.comeIn();
    passSeconds(1);
    walker.walk();
    ASSERT_TRUE(walker.waitFor(Access::authed));
    ASSERT_TRUE(walker.waitFor(Access::unknown));
    EXPECT_NEAR(walker.sessionTime(), kShort.sessionSeconds, 2.5) << "looked at once a second";
    walker.walk();
    EXPECT_TRUE(walker.waitFor(Access::unauthed)) << "it has to log in again";
}

TEST_F(RoamingTest, WhatHappensWithoutTheBrokerIsMadeUpFor) {
    Walker settled(*this, kTwo);
    settled.comeIn();
    passSeconds(1);
    broker_.stop();
    Walker late(*this, kFive);
    late.comeIn();
    settled.walk();
    EXPECT_TRUE(settled.waitFor(Access::authed)) << "known from before";
    late.walk();
    EXPECT_TRUE(late.waitFor(Access::unauthed)) << "nobody could tell of it";
    broker_.start();
    // The daemon lets go of it so that its next packet brings it in with its record.
    late.comeBackIn();
    late.awaitPass();
    late.expectSession();
    settled.expectSession();
}

TEST_F(RoamingTest, AnApbdThatIsKilledCostsNoSession) {
    Walker settled(*this, kTwo);
    Walker late(*this, kFive);
    settled.comeIn();
    passSeconds(1);
    settled.walk();
    ASSERT_TRUE(settled.waitFor(Access::authed));
    EXPECT_EQ(members_[1].apbd.end(SIGKILL), -SIGKILL);
    late.comeIn();
    late.walk();
    EXPECT_TRUE(late.waitFor(Access::unauthed)) << "nobody could tell of it";
    startApbd(members_[1]);
    late.comeBackIn();
    settled.expectSession();
    settled.walk();
    ASSERT_TRUE(settled.waitFor(Access::authed));
    settled.awaitPass();
    settled.expectSession();
    late.expectSession();
}

TEST_F(RoamingTest, ADaemonThatIsKilledFindsItsStationsAgain) {
    std::vector<Walker> walkers;
    for (const Network* const network : {&kTwo, &kFive}) {
        walkers.emplace_back(*this, *network).comeIn();
    }
    walkers.back().walk();
    walkers.back().walk();
    passSeconds(5);
    members_[0].daemon.end(SIGKILL);
    passSeconds(2);
    startDaemon(members_[0]);
    for (Walker& walker : walkers) {
        walker.here().sendPacket();
        ASSERT_TRUE(walker.waitFor(Access::authed));
        walker.awaitPass();
        walker.expectSession();
    }
}

}  // namespace
}  // namespace vesta::testing
