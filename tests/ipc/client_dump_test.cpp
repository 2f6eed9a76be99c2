#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "client/client.h"
#include "ipc/proxy_dialect.h"
#include "messages/dump_dialect.h"
#include "scenario/manageable_scenario_sequence.h"
#include "support/fake_clock.h"
#include "support/fake_portal_instance.h"
#include "support/keyed_scenarios.h"

namespace vesta {
namespace {

using nlohmann::json;

class ClientDump : public ::testing::Test {
protected:
    ClientDump() {
        client_.setLogin("anna");
        client_.setPassword("secret");
        report(5, 0);
        client_.updateConnectStatus();
    }

    void report(std::uint64_t rxBytes, int uptime) {
        ClientStatisticInfo record;
        record.rxBytes = rxBytes;
        record.uptime = uptime;
        client_.updateStatistic(record);
    }

    // As the bus' peers see the client, and as the proxy does.
    json forPeers() {
        return textOf(client_.dumpToMessage(std::make_shared<IPCDumpClientMessageFactory>()));
    }
    json forProxy() {
        return textOf(
            client_.dumpToMessage(std::make_shared<RedirectorClientMessageFactory>("{}")));
    }
    static json textOf(const std::shared_ptr<MessageEntry>& message) {
        return json::parse(message->getStringRepresentation());
    }

    testing::FakeClock clock_;
    testing::FakePortalInstance owner_;
    Client client_{
        testing::sequence<ManageableScenarioSequence>(
            {R"({"type": "forbid", "id": 0, "name": "login", "url": "http://p/",
                            "portal": "", "auth": "guest"})",
             R"({"type": "allow", "id": 1, "name": "guest", "time": 60, "traffic": 500})",
             R"({"type": "drop", "id": 2, "name": "over", "good": "", "bad": ""})"}),
        MacAddr("0a:1b:2c:3d:4e:5f"), "10.0.0.1", 1500, owner_};
};

TEST_F(ClientDump, ShowsWhereAStationInFrontOfItsLoginIsSent) {
    EXPECT_EQ(forPeers(), json::parse(R"({
        "mac": "0a:1b:2c:3d:4e:5f", "ip": "10.0.0.1", "status": "connected",
        "access-type": "Redirect", "session-id": "", "login": "anna", "redirect-url": "http://p/",
        "interface": "wlan0-va1", "ssid": "Guest", "radius-domain": "hall.example",
        "mobility-domain": "hall", "simultaneous-use": 0, "scenarios-cnt": 1, "scenario-id-cur": -2,
        "time-limit-cur": 0, "session-time": 0, "traffic-limit-cur": 0})"));
    EXPECT_EQ(forProxy(), json::parse(R"({
        "cli-mac": "0a:1b:2c:3d:4e:5f", "cli-ip": "10.0.0.1", "cli-login": "anna",
        "portal-url": "http://p/", "proxy-mode": "absolute-path", "virtual-portal-name": "shared",
        "ssid": "Guest", "domain": "hall.example", "ap-location": "hall",
        "ap-mac": "02:00:00:00:00:01", "cur-state": "not-auth"})"));
    client_.setRedirectUrl("http://own/else", 10);
    EXPECT_EQ(forProxy()["portal-url"], "http://own");
}

TEST_F(ClientDump, ShowsNoRedirectionWhereAccessIsOpen) {
    client_.setCurrentScenario("guest");
    report(5, 42);
    report(8, 42);
    const json dump = forPeers();
    EXPECT_EQ(dump["access-type"], "Allow");
    EXPECT_EQ(dump["time-limit-cur"], 42);
    EXPECT_EQ(dump["traffic-limit-cur"], 3);
    EXPECT_FALSE(dump.contains("redirect-url"));
    EXPECT_EQ(forProxy()["cur-state"], "stateguest");
}

TEST_F(ClientDump, ShowsWhyTheSessionEndedOnTheLastScenario) {
    client_.setCurrentScenario("guest");
    report(0, 61);
    EXPECT_TRUE(client_.checkScenarioExpire());
    EXPECT_TRUE(client_.set_deauth_scenario_client());
    const json dump = forProxy();
    EXPECT_EQ(dump["end-reason"], "time-over");
    EXPECT_EQ(dump["end-value"], "60");
    EXPECT_EQ(dump["cur-state"], "session-end");
}

}  // namespace
}  // namespace vesta
