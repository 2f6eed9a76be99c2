#include "apsim/access_point.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/runtime_directory.h"
#include "tools/fake_daemon.h"

namespace apsim {
namespace {

using vesta::testing::RuntimeDirectory;

using ::testing::HasSubstr;

constexpr Milliseconds kLong{5000};
const StationId kAnna{"wlan0-va1", "02:00:00:00:00:0a"};
const std::string kAnnaMac("\x02\0\0\0\0\x0a", 6);

TEST(AccessPointTest, GivesTheDaemonItsConfiguration) {
    const RuntimeDirectory runtime;
    AccessPoint accessPoint(Json{{"captive-portal", {{"loglevel", 3}}}});
    EXPECT_FALSE(accessPoint.waitForDaemon(Milliseconds(1)));
    const FakeDaemon daemon({{"get", [](const std::string& request) { return request; }}});
    EXPECT_EQ(daemon.configuration(), R"({"captive-portal":{"loglevel":3}})");
    EXPECT_TRUE(accessPoint.waitForDaemon(kLong));
}

TEST(AccessPointTest, AnswersTheStatisticsOfTheAssociatedStations) {
    const RuntimeDirectory runtime;
    AccessPoint accessPoint(Json::object());
    FakeDaemon daemon;
    Station anna = accessPoint.station(kAnna.interface, kAnna.mac, "10.1.0.5");
    EXPECT_EQ(Json::parse(daemon.statistics())["value"], Json::array());

    anna.associate();
    EXPECT_TRUE(anna.traffic(3001, 6000000000));
    EXPECT_EQ(Json::parse(daemon.statistics())["value"], Json::parse(R"([
        {"interface": "wlan0-va1", "hw-addr": "02:00:00:00:00:0a", "uptime": "0",
         "statistics": {"rx": {"bytes": "3001", "packets": "3",
                               "dropped-packets": "0", "dropped-bytes": "0"},
                        "tx": {"bytes": "6000000000", "packets": "4000000",
                               "dropped-packets": "0", "dropped-bytes": "0",
                               "lost-packets": "0"}}}])"));
    anna.leave();
    EXPECT_FALSE(anna.traffic(1, 1));
    EXPECT_EQ(Json::parse(daemon.statistics())["value"], Json::array());
    EXPECT_TRUE(accessPoint.monitord().waitForAnswers(3, kLong));
}

TEST(AccessPointTest, KeepsTrapsAsEventsOfTheStation) {
    const RuntimeDirectory runtime;
    AccessPoint accessPoint(Json::object());
    FakeDaemon daemon;
    daemon.send(R"({"command": "cp-client-trap", "event": 5})", IPC_MODULE_MONITORD_TRAPS);
    daemon.send(R"({"command": "cp-client-trap", "event": {"type": "cp-deauth",
                    "mac": "02:00:00:00:00:0a", "ip": "", "username": "anna",
                    "dev": "wlan0-va1"}})",
                IPC_MODULE_MONITORD_TRAPS);
    const auto event = accessPoint.events().waitFor(Party::trap, "cp-deauth", kAnna, kLong);
    ASSERT_TRUE(event);
    EXPECT_EQ(event->detail, "username anna");
}

TEST(AccessPointTest, MatchesAnswersToRequestsByTheirContext) {
    const RuntimeDirectory runtime;
    AccessPoint accessPoint(Json::object());
    // The first answer waits for the second request, so that they arrive in the other order.
    std::string held;
    FakeDaemon* self = nullptr;
    FakeDaemon daemon({{"validate-ip", [&](const std::string& request) -> std::string {
                            const Json answer{{"context", Json::parse(request)["context"]},
                                              {"asked", Json::parse(request)["params"]["ipaddr"]}};
                            if (held.empty()) {
                                held = answer.dump();
                                return R"({"command": "nothing"})";
                            }
                            self->send(answer.dump(), ipc_tool_module());
                            return held;
                        }}});
    self = &daemon;
    std::promise<std::string> first;
    ASSERT_TRUE(accessPoint.portal().requestLater(
        {{"command", "validate-ip"}, {"params", {{"ipaddr", "10.0.0.1"}}}},
        [&](const PortalClient::Answer& answer) { first.set_value((*answer)["asked"]); }));
    const PortalClient::Answer second = accessPoint.portal().validateIp("10.0.0.2");
    ASSERT_TRUE(second);
    EXPECT_EQ((*second)["asked"], "10.0.0.2");
    EXPECT_EQ(first.get_future().get(), "10.0.0.1");
}

TEST(AccessPointTest, WritesThePortalsRequestsAsTheDaemonReadsThem) {
    const RuntimeDirectory runtime;
    AccessPoint accessPoint(Json::object());
    Json seen;
    const FakeDaemon::Answer echo = [&](const std::string& request) {
        seen = Json::parse(request);
        const Json context = seen["context"];
        seen.erase("context");
        return Json{{"context", context}}.dump();
    };
    std::map<std::string, FakeDaemon::Answer> answers;
    for (const char* command : {"validate", "update", "update-scenario", "get-scenarios",
                                "get-redirect-params", "cp-del-client"}) {
        answers[command] = echo;
    }
    const FakeDaemon daemon(answers);
    PortalClient& portal = accessPoint.portal();
    portal.validate("10.0.0.1", "anna", "x");
    EXPECT_EQ(seen, Json::parse(R"({"command": "validate", "params":
        {"ipaddr": "10.0.0.1", "login": "anna", "password": "x"}})"));
    portal.update("10.0.0.1", "day", {{"traffic-limit", 5}});
    EXPECT_EQ(seen, Json::parse(R"({"command": "update", "params":
        {"ipaddr": "10.0.0.1", "cur-scenario-id": "day", "traffic-limit": 5}})"));
    portal.updateScenario("10.0.0.1", Json::array({{{"name", "day"}}}));
    EXPECT_EQ(seen, Json::parse(R"({"command": "update-scenario", "params":
        {"ipaddr": "10.0.0.1", "scenarios": [{"name": "day"}]}})"));
    portal.scenarios("02:00:00:00:00:0a", "Guest");
    EXPECT_EQ(seen, Json::parse(R"({"command": "get-scenarios", "mac": "02:00:00:00:00:0a",
        "ssid": "Guest"})"));
    portal.redirectParams("10.0.0.1");
    EXPECT_EQ(seen, Json::parse(R"({"command": "get-redirect-params", "client": "10.0.0.1"})"));
    portal.deleteClient("wlan0-va1", "02:00:00:00:00:0a");
    EXPECT_EQ(seen, Json::parse(R"({"command": "cp-del-client", "interface": "wlan0-va1",
        "mac": "02:00:00:00:00:0a"})"));
}

TEST(AccessPointTest, ARequestWithoutADaemonFailsAtOnce) {
    const RuntimeDirectory runtime;
    AccessPoint accessPoint(Json::object());
    EXPECT_FALSE(accessPoint.portal().status());
}

TEST(AccessPointTest, AStationThatIsThrownOffLeaves) {
    const RuntimeDirectory runtime;
    AccessPoint accessPoint(Json::object());
    Station anna = accessPoint.station(kAnna.interface, kAnna.mac, "10.1.0.5");
    anna.associate();
    ASSERT_TRUE(sendDeauth(kAnna));
    ASSERT_TRUE(accessPoint.events().waitFor(Party::deauth, "deauth-client", kAnna, kLong));
    // A request that is answered comes after all that the server did before.
    ostrel::openRedirector()->request(23, nullptr);
    EXPECT_FALSE(accessPoint.associations().contains(kAnna));
}

TEST(AccessPointTest, AWaitingTestIsWokenByWhatTheDaemonDoes) {
    const RuntimeDirectory runtime;
    AccessPoint accessPoint(Json::object());
    FakeDaemon daemon;
    const Station anna = accessPoint.station(kAnna.interface, kAnna.mac, "10.1.0.5");
    std::thread redirecting([&] { daemon.tellClient(9, kAnna.interface, kAnnaMac); });
    EXPECT_TRUE(anna.waitForAccess(Access::authed, kLong));
    redirecting.join();
    EXPECT_FALSE(anna.waitForAccess(Access::drop, Milliseconds(1)));
}

TEST(AccessPointTest, ASecondAccessPointInTheSameDirectoryIsRefused) {
    const RuntimeDirectory runtime;
    const AccessPoint first(Json::object());
    EXPECT_THROW(AccessPoint second{Json::object()}, std::runtime_error);
}

}  // namespace
}  // namespace apsim
