#include "apsim/access_point.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/runtime_directory.h"
#include "tools/fake_daemon.h"

namespace apsim {
namespace {

constexpr Milliseconds kLong{5000};
const StationId kAnna{"wlan0-va1", "02:00:00:00:00:0a"};

class AccessPointTest : public ::testing::Test {
protected:
    const vesta::testing::RuntimeDirectory runtime_;
    AccessPoint accessPoint_{Json{{"captive-portal", {{"loglevel", 3}}}}};
    Station anna_ = accessPoint_.station(kAnna.interface, kAnna.mac, "10.1.0.5");
};

TEST_F(AccessPointTest, GivesTheDaemonItsConfigurationAndKnowsWhenItIsThere) {
    EXPECT_FALSE(accessPoint_.portal().status());
    EXPECT_FALSE(accessPoint_.waitForDaemon(Milliseconds(1)));
    const FakeDaemon daemon({{"get", [](const std::string& request) { return request; }}});
    EXPECT_EQ(daemon.configuration(), R"({"captive-portal":{"loglevel":3}})");
    EXPECT_TRUE(accessPoint_.waitForDaemon(kLong));
    EXPECT_THROW(AccessPoint second{Json::object()}, std::runtime_error) << "one to a directory";
}

TEST_F(AccessPointTest, AnswersTheStatisticsOfTheAssociatedStations) {
    FakeDaemon daemon;
    anna_.associate();
    EXPECT_TRUE(anna_.traffic(3001, 6000000000));
    EXPECT_EQ(Json::parse(daemon.statistics())["value"], Json::parse(R"([
        {"interface": "wlan0-va1", "hw-addr": "02:00:00:00:00:0a", "uptime": "0",
         "statistics": {"rx": {"bytes": "3001", "packets": "3",
                               "dropped-packets": "0", "dropped-bytes": "0"},
                        "tx": {"bytes": "6000000000", "packets": "4000000",
                               "dropped-packets": "0", "dropped-bytes": "0",
                               "lost-packets": "0"}}}])"));
    anna_.leave();
    EXPECT_FALSE(anna_.traffic(1, 1));
    EXPECT_EQ(Json::parse(daemon.statistics())["value"], Json::array());
    EXPECT_TRUE(accessPoint_.monitord().waitForAnswers(2, kLong));
}

TEST_F(AccessPointTest, KeepsTrapsAsEventsOfTheStation) {
    FakeDaemon daemon;
    daemon.send(R"({"command": "cp-client-trap", "event": 5})", IPC_MODULE_MONITORD_TRAPS);
    daemon.send(R"({"command": "cp-client-trap", "event": {"type": "cp-deauth",
                    "mac": "02:00:00:00:00:0a", "ip": "", "username": "anna",
                    "dev": "wlan0-va1"}})",
                IPC_MODULE_MONITORD_TRAPS);
    const auto event = accessPoint_.events().waitFor(Party::trap, "cp-deauth", kAnna, kLong);
    ASSERT_TRUE(event);
    EXPECT_EQ(event->detail, "username anna");
}

TEST_F(AccessPointTest, WritesThePortalsRequestsAsTheDaemonReadsThem) {
    const std::pair<std::function<void(PortalClient&)>, const char*> requests[] = {
        {[](auto& portal) { portal.validate("10.0.0.1", "anna", "x"); },
         R"({"command": "validate",
             "params": {"ipaddr": "10.0.0.1", "login": "anna", "password": "x"}})"},
        {[](auto& portal) {
             portal.update("10.0.0.1", "day", {{"traffic-limit", 5}});
         },
         R"({"command": "update",
             "params": {"ipaddr": "10.0.0.1", "cur-scenario-id": "day", "traffic-limit": 5}})"},
        {[](auto& portal) {
             portal.updateScenario("10.0.0.1", Json::array({{{"name", "day"}}}));
         },
         R"({"command": "update-scenario",
             "params": {"ipaddr": "10.0.0.1", "scenarios": [{"name": "day"}]}})"},
        {[](auto& portal) { portal.scenarios("02:00:00:00:00:0a", "Guest"); },
         R"({"command": "get-scenarios", "mac": "02:00:00:00:00:0a", "ssid": "Guest"})"},
        {[](auto& portal) { portal.redirectParams("10.0.0.1"); },
         R"({"command": "get-redirect-params", "client": "10.0.0.1"})"},
        {[](auto& portal) { portal.deleteClient("wlan0-va1", "02:00:00:00:00:0a"); },
         R"({"command": "cp-del-client", "interface": "wlan0-va1",
             "mac": "02:00:00:00:00:0a"})"}};
    Json seen;
    std::map<std::string, FakeDaemon::Answer> answers;
    for (const auto& [call, expected] : requests) {
        answers[Json::parse(expected)["command"]] = [&](const std::string& request) {
            seen = Json::parse(request);
            const Json context = seen["context"];
            seen.erase("context");
            return Json{{"context", context}}.dump();
        };
    }
    const FakeDaemon daemon(answers);
    for (const auto& [call, expected] : requests) {
        call(accessPoint_.portal());
        EXPECT_EQ(seen, Json::parse(expected));
    }
}

TEST_F(AccessPointTest, AStationThatIsThrownOffLeaves) {
    anna_.associate();
    ASSERT_TRUE(sendDeauth(kAnna));
    ASSERT_TRUE(accessPoint_.events().waitFor(Party::deauth, "deauth-client", kAnna, kLong));
    // A request that is answered comes after all that the server did before.
    ostrel::openRedirector()->request(23, nullptr);
    EXPECT_FALSE(accessPoint_.associations().contains(kAnna));
}

TEST_F(AccessPointTest, AWaitingTestIsWokenByWhatTheDaemonDoes) {
    FakeDaemon daemon;
    std::thread redirecting([&] { daemon.letAnnaIn(); });
    EXPECT_TRUE(anna_.waitForAccess(Access::authed, kLong));
    redirecting.join();
    EXPECT_FALSE(anna_.waitForAccess(Access::drop, Milliseconds(1)));
}

}  // namespace
}  // namespace apsim
