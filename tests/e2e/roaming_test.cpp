// The demo's two access points, each with a vestad and an apbd process, and a broker between them:
// what its roads do not show. Stations walk while the broker or an apbd is gone.

#include "apsim/input.h"
#include "apsim/road.h"
#include "apsim/road_player.h"
#include "daemon_test.h"
#include "support/broker.h"

namespace vesta::testing {
namespace {

using apsim::Json;
using Clock = std::chrono::steady_clock;

constexpr const char* kHall = "wlan0-va1";
constexpr const char* kGarden = "garden-va1";

struct Member {
    std::string directory;
    ChildProcess daemon;
    ChildProcess apbd;
    std::unique_ptr<apsim::AccessPoint> accessPoint;
};

struct Walker {
    std::string number;  // the last of its addresses
    Clock::time_point loggedInAt = {};
};

class RoamingTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!canIsolate() || !Broker::possible()) {
            GTEST_SKIP() << "needs a mount namespace and mosquitto";
        }
        std::filesystem::create_symlink(APSIM_PROGRAM, directory_.path("deauth-client"));
        setenv("PATH", (directory_.path() + ":" + getenv("PATH")).c_str(), 1);
        broker_.start();
        start(hall_, "config", "02:00:00:0a:00:01");
        start(garden_, "garden", "02:00:00:0a:00:02");
    }

    void start(Member& member, const std::string& name, const std::string& mac) {
        member.directory = directory_.path(name);
        ostrel::testing::writeFile(member.directory + "/factory.json", Json({{"mac", mac}}).dump());
        std::filesystem::create_directory(member.directory + "/run");
        startApbd(member);
        setenv("OSTREL_FACTORY_FILE", (member.directory + "/factory.json").c_str(), 1);
        member.daemon.start(isolated(VESTAD_PROGRAM, member.directory + "/run"));

        Json document = apsim::loadConfiguration(VESTA_DEMO "/" + name + ".json");
        document["captive-portal"]["logfile"] = member.directory + "/vestad.log";
        // Nobody ages out while the test keeps it from being told of.
        document["interface"][0]["vap"]["captive-portal"]["scenarios"][1]["away-timeout"] = 60;
        apsim::AccessPointOptions options;
        options.log = &log_;
        options.runtimeDirectory = member.directory;
        member.accessPoint = std::make_unique<apsim::AccessPoint>(document, options);
        ASSERT_TRUE(member.accessPoint->waitForDaemon(std::chrono::seconds(20)));
    }
    void startApbd(Member& member) {
        setenv("OSTREL_RUNTIME_DIR", member.directory.c_str(), 1);
        member.apbd.start({APBD_PROGRAM, "--port", broker_.port()});
    }

    // Plays a walker's events, the first of them on that interface.
    void play(const Walker& walker, const char* interface, const std::string& events) {
        Json road = {{"stations",
                      {{{"name", walker.number},
                        {"interface", interface},
                        {"mac", "02:00:00:00:00:0" + walker.number},
                        {"ip", "10.0.0." + walker.number}}}},
                     {"events", Json::parse("[" + events + "]")}};
        for (Json& event : road["events"]) {
            event["station"] = walker.number;
        }
        apsim::RoadPlayer player({hall_.accessPoint.get(), garden_.accessPoint.get()});
        EXPECT_EQ(player.play(apsim::parseRoad(road, "road")).at(0).failure, "") << events;
    }
    static std::string becomes(const char* access) {
        return R"({"do": "expect", "within": 20, "redirector": ")" + std::string(access) + "\"}";
    }
    // Logs in, of which the other access point is told within a second.
    void comeIn(Walker& walker) {
        walker.loggedInAt = Clock::now();
        play(walker, kHall,
             R"({"do": "arrive"}, )" + becomes("unauthed") + R"(,
                {"do": "login", "login": "anna", "password": "x"}, )" +
                 becomes("authed") + R"(, {"do": "expect", "redirector": "authed", "after": 1})");
    }
    void walk(const Walker& walker, const char* from, const char* to, const char* access) {
        play(walker, from,
             R"({"do": "roam", "interface": ")" + std::string(to) + "\"}, " + becomes(access));
    }
    // Is let in by its record, after it was here without it.
    void comeBackIn(const Walker& walker, const char* interface) {
        play(walker, interface,
             becomes("forgotten") + R"(, {"do": "packet"}, )" + becomes("authed"));
    }
    // Stays for some seconds in its session, of which no more than two may have been lost.
    void expectSession(const Walker& walker, const char* interface) {
        const std::chrono::duration<double> passed = Clock::now() - walker.loggedInAt;
        play(walker, interface,
             R"({"do": "expect", "after": 3, "within": 0, "redirector": "authed",
                 "shaper": {"transmit": 2048, "receive": 512},
                 "client": {"access-type": "Allow", "login": "anna",
                            "session-time": {"at-least": )" +
                 std::to_string(passed.count() + 1) + "}}}");
    }
    void TearDown() override {
        for (const apsim::Event& event : log_.since()) {
            EXPECT_NE(event.party, apsim::Party::deauth) << event.station.mac;
        }
    }

    RuntimeDirectory directory_;
    apsim::EventLog log_;
    Broker broker_{directory_.path()};
    Member hall_, garden_;
    Walker settled_{"1"}, late_{"2"};
};

// The access point that a station left has its apbd stopped while it notices, and tells of it when
// the station is at home elsewhere.
TEST_F(RoamingTest, NewsOfItsLeavingThatComesLateThrowsNobodyOff) {
    comeIn(settled_);
    hall_.apbd.signal(SIGSTOP);
    play(settled_, kHall, R"({"do": "leave"}, {"do": "expect", "trap": "cp-disconnected"})");
    play(settled_, kGarden, R"({"do": "arrive"}, )" + becomes("authed"));
    hall_.apbd.signal(SIGCONT);
    expectSession(settled_, kGarden);
    walk(settled_, kGarden, kHall, "authed");
    expectSession(settled_, kHall);
}

TEST_F(RoamingTest, WhatHappensWithoutTheBrokerIsMadeUpFor) {
    comeIn(settled_);
    broker_.stop();
    comeIn(late_);
    walk(settled_, kHall, kGarden, "authed");
    walk(late_, kHall, kGarden, "unauthed");  // nobody could tell of it
    broker_.start();
    comeBackIn(late_, kGarden);
    expectSession(late_, kGarden);
    expectSession(settled_, kGarden);
}

TEST_F(RoamingTest, AnApbdThatIsKilledCostsNoSession) {
    comeIn(settled_);
    walk(settled_, kHall, kGarden, "authed");
    EXPECT_EQ(garden_.apbd.end(SIGKILL), -SIGKILL);
    comeIn(late_);
    walk(late_, kHall, kGarden, "unauthed");
    startApbd(garden_);
    comeBackIn(late_, kGarden);
    expectSession(settled_, kGarden);
    walk(settled_, kGarden, kHall, "authed");
    expectSession(settled_, kHall);
    expectSession(late_, kGarden);
}

}  // namespace
}  // namespace vesta::testing
