#include "roaming_domain.h"

#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "apsim/road_expectations.h"

namespace vesta::testing {
namespace {

using apsim::Access;
using apsim::Json;
using apsim::Party;

constexpr const char* kPassword = "secret";

Json speeds(int sessionSeconds) {
    return {{"access-type", "allow"},
            {"transmit-maximum-speed", kTransmit},
            {"receive-maximum-speed", kReceive},
            {"max-session-time", sessionSeconds}};
}

Json scenarios(const Network& network, int sessionSeconds) {
    Json list = Json::parse("[" + std::string(kLoginAndGuest) + "]");
    list[1].update(speeds(sessionSeconds));
    if (network.five) {
        list[0]["auth-scenario"] = "gold";
        list[1]["receive-maximum-speed"] = 1;
        list.push_back({{"name", "gold"}, {"deauth-scenario", "over"}});
        list.back().update(speeds(sessionSeconds));
        list.push_back({{"access-type", "forbid"}, {"name", "over"}, {"redirect-url", "http://p"}});
        list.push_back({{"access-type", "allow"}, {"name", "late"}});
    }
    return list;
}

Json interface(const Network& network, int sessionSeconds) {
    Json entry = Json::parse(vapText(network.interface, network.ssid, network.mode));
    Json& portal = entry["vap"]["captive-portal"];
    portal["scenarios"] = scenarios(network, sessionSeconds);
    if (network.mode == std::string("radius")) {
        portal["acct-enable"] = true;
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

// The last digit of its interface.
std::string numberOf(const Network& network) {
    return {std::string(network.interface).back()};
}

}  // namespace

bool RoamingTest::hasRadius() {
    return geteuid() == 0;
}

void RoamingTest::SetUp() {
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
    for (const char* const name : {"hall", "garden"}) {
        Member& member = members_[name == std::string("garden")];
        member.directory = directory_.path(name);
        std::filesystem::create_directories(member.directory + "/run");
        ostrel::testing::writeFile(
            member.directory + "/factory.json",
            Json({{"device-name", name},
                  {"serial-number", name},
                  {"hardware-version", "1"},
                  {"mac", &member == members_.data() ? "02:00:00:0a:00:01" : "02:00:00:0a:00:02"},
                  {"mac2", "02:00:00:0b:00:01"}})
                .dump());
        startApbd(member);
        startDaemon(member);
    }
}

void RoamingTest::setEnvironment(const Member& member) const {
    setenv("OSTREL_RUNTIME_DIR", member.directory.c_str(), 1);
    setenv("OSTREL_FACTORY_FILE", (member.directory + "/factory.json").c_str(), 1);
    setenv("PATH", path_.c_str(), 1);
}

Json RoamingTest::configuration(const Member& member) const {
    constexpr int kLong = 3600;
    Json document = Json::parse(documentText(""));
    document["captive-portal"].update({{"logfile", member.directory + "/vestad.log"},
                                       {"loglevel", 7},
                                       {"apbd", {{"enabled", true}}}});
    for (const Network& network : kNetworks) {
        document["interface"].push_back(interface(network, kLong));
    }
    document["interface"].push_back(interface(kShort, kShortSession));
    if (member.radius) {
        apsim::useRadiusServer(document, member.radius->address());
    }
    return document;
}

void RoamingTest::startApbd(Member& member) {
    setEnvironment(member);
    member.apbd.start({APBD_PROGRAM, "--port", broker_.port()});
}

// The access point stays when the daemon is started anew.
void RoamingTest::startDaemon(Member& member) {
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
        member.accessPoint = std::make_unique<apsim::AccessPoint>(configuration(member), options);
    }
    ASSERT_TRUE(member.accessPoint->waitForDaemon(kPatience, gone));
}

RoamingTest::Walker::Walker(RoamingTest& test, const Network& network)
    : test_(test),
      network_(network),
      mac_("02:00:00:00:00:0" + numberOf(network)),
      stations_{stationAt(test.members_[0]), stationAt(test.members_[1])} {}

apsim::Station RoamingTest::Walker::stationAt(const Member& member) const {
    return member.accessPoint->station(network_.interface, mac_, "10.0.0." + numberOf(network_));
}

bool RoamingTest::Walker::waitFor(Access access) const {
    return stations_[at_].waitForAccess(access, kPatience);
}

void RoamingTest::Walker::comeIn() {
    here().arrive();
    ASSERT_TRUE(waitFor(Access::unauthed)) << network_.ssid;
    firstEvent_ = test_.log_.size();
    loggedInAt_ = std::chrono::steady_clock::now();
    ASSERT_TRUE(here().login(network_.ssid, kPassword)) << network_.ssid;
    if (network_.mode == std::string("portal")) {
        ASSERT_TRUE(
            here().accessPoint().portal().update(here().ip(), network_.five ? "gold" : "guest"));
    }
    ASSERT_TRUE(waitFor(Access::authed)) << network_.ssid;
}

void RoamingTest::Walker::comeBackIn() {
    firstEvent_ = test_.log_.size();
    here().sendPacket();
    ASSERT_TRUE(waitFor(Access::authed)) << network_.ssid;
}

void RoamingTest::Walker::walk() {
    there().arrive();
    here().leave();
    at_ = 1 - at_;
}

Json RoamingTest::Walker::client() {
    return apsim::clientOf(here()).value_or(Json());
}

double RoamingTest::Walker::sessionTime() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - loggedInAt_).count();
}

void RoamingTest::Walker::awaitPass() {
    apsim::Monitord& monitord = here().accessPoint().monitord();
    EXPECT_TRUE(monitord.waitForAnswers(monitord.answers() + 2, kPatience));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
}

void RoamingTest::Walker::expectSession() {
    SCOPED_TRACE(network_.ssid);
    const Json now = client();
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
    EXPECT_EQ(strayEvents(), "");
}

std::string RoamingTest::Walker::strayEvents() const {
    std::string found;
    for (const apsim::Event& event : test_.log_.since(firstEvent_)) {
        const bool stray = event.party == Party::deauth ||
                           (event.party == Party::redirector &&
                            (event.what == "unauthed" || event.what == "drop")) ||
                           (event.party == Party::radius && event.what == "reject");
        if (stray && event.station.mac == mac_) {
            found += event.what + " on " + event.station.interface + ", ";
        }
    }
    return found;
}

}  // namespace vesta::testing
