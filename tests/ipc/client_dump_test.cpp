// What the examples of docs/bus.md do not show of a station.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "client/client.h"
#include "ipc/proxy_dialect.h"
#include "messages/dump_dialect.h"
#include "scenario/manageable_scenario_sequence.h"
#include "support/fake_clock.h"
#include "support/fake_portal_instance.h"
#include "support/keyed_scenarios.h"

namespace vesta::testing {
namespace {

using nlohmann::json;

class ClientDump : public ::testing::Test {
protected:
    ClientDump() {
        client_.setLogin("anna");
        report(5, 0);
        client_.updateConnectStatus();
    }

    void report(std::uint64_t rxBytes, int uptime) {
        ClientStatisticInfo record;
        record.rxBytes = rxBytes;
        record.uptime = uptime;
        client_.updateStatistic(record);
    }

    // Expects these members, and none where null stands, in the dump that `factory` writes.
    void expectIn(const std::shared_ptr<ClientMessageFactory>& factory, const char* members) {
        const json dump = json::parse(client_.dumpToMessage(factory)->getStringRepresentation());
        json patched = dump;
        patched.merge_patch(json::parse(members));
        EXPECT_EQ(dump, patched);
    }

    std::shared_ptr<ClientMessageFactory> forPeers_ =
        std::make_shared<IPCDumpClientMessageFactory>();
    std::shared_ptr<ClientMessageFactory> forProxy_ =
        std::make_shared<RedirectorClientMessageFactory>("{}");
    FakeClock clock_;
    FakePortalInstance owner_;
    Client client_{
        sequence<ManageableScenarioSequence>(
            {R"({"type": "forbid", "id": 0, "name": "login", "url": "http://p/",
                            "portal": "", "auth": "guest"})",
             R"({"type": "allow", "id": 1, "name": "guest", "time": 60, "traffic": 500})",
             R"({"type": "drop", "id": 2, "name": "over", "good": "", "bad": ""})"}),
        MacAddr("0a:1b:2c:3d:4e:5f"), "10.0.0.1", 1500, owner_};
};

TEST_F(ClientDump, FollowsTheStationThroughItsScenarios) {
    expectIn(forPeers_, R"({"access-type": "Redirect", "redirect-url": "http://p/", "login": "anna",
                       "radius-domain": "hall.example"})");
    expectIn(forProxy_,
             R"({"portal-url": "http://p/", "cli-login": "anna", "domain": "hall.example",
                       "virtual-portal-name": "shared", "end-reason": null, "end-value": null})");
    client_.setRedirectUrl("http://own/else", 10);
    expectIn(forProxy_, R"({"portal-url": "http://own"})");

    client_.setCurrentScenario("guest");
    report(5, 42);
    report(8, 42);
    expectIn(forPeers_, R"({"access-type": "Allow", "redirect-url": null, "time-limit-cur": 42,
                       "traffic-limit-cur": 3})");
    expectIn(forProxy_, R"({"cur-state": "stateguest"})");

    report(8, 61);
    EXPECT_TRUE(client_.checkScenarioExpire());
    EXPECT_TRUE(client_.set_deauth_scenario_client());
    expectIn(forProxy_,
             R"({"cur-state": "session-end", "end-reason": "time-over", "end-value": "60"})");
}

}  // namespace
}  // namespace vesta::testing
