#include "inform/trap_informator.h"

#include <gtest/gtest.h>

#include "inform/bus_peer.h"
#include "inform/json_support.h"
#include "support/fake_portal_instance.h"
#include "support/test_client.h"

namespace vesta::testing {
namespace {

class TrapInformatorTest : public BusTest {
protected:
    std::vector<std::string> traps() { return monitord.takeFrom(*ipc, IPC_MODULE_MONITORD_TRAPS); }

    BusPeer monitord{IPC_MODULE_MONITORD_TRAPS, "cp-client-trap"};
    FakePortalInstance instance;
    ClientStatisticInfo statistics;
    TrapInformator informator{ipc};
};

std::string trap(const std::string& type) {
    return R"({"command": "cp-client-trap", "event": {"type": ")" + type +
           R"(", "mac": "0a:1b:2c:3d:4e:5f", "ip": "10.1.2.3", "username": "bob",
              "ssid": "Guest", "domain": "hall.example", "name": "wlan0-va1",
              "dev": "wlan0-va1"}})";
}

TEST_F(TrapInformatorTest, SendsOneTrapForEachEventOfItsOwn) {
    const auto client = makeClient(instance);
    client->setLogin("bob");
    EXPECT_TRUE(informator.informClientAuthenticated(client, statistics));
    EXPECT_TRUE(informator.informUpdateClient(client, statistics));
    EXPECT_TRUE(informator.informClientConnected(client, statistics));
    EXPECT_TRUE(informator.informClientDeuthenticated(client, statistics));
    EXPECT_TRUE(informator.informClientDisconnected(client, statistics));
    EXPECT_TRUE(informator.informClientDrop(client, statistics));
    EXPECT_TRUE(informator.informClientRemoved(client, statistics));
    EXPECT_TRUE(informator.informClientResetNeeded(client, statistics));
    const std::vector<std::string> sent = traps();
    const char* const types[] = {"cp-connected", "cp-deauth", "cp-disconnected", "cp-disconnected"};
    ASSERT_EQ(sent.size(), std::size(types));
    for (std::size_t i = 0; i < sent.size(); ++i) {
        EXPECT_TRUE(sameJson(sent[i], trap(types[i])));
    }
}

TEST_F(TrapInformatorTest, LeavesOutWhatTheInstanceLacksButNotWhatTheStationLacks) {
    instance.name = instance.ssid = instance.domain = instance.attachedInterface = "";
    informator.informClientConnected(makeClient(instance, 0, 0, ""), statistics);
    const std::vector<std::string> sent = traps();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_TRUE(sameJson(sent[0], R"({"command": "cp-client-trap", "event": {
        "type": "cp-connected", "mac": "0a:1b:2c:3d:4e:5f", "ip": "", "username": ""}})"));
}

}  // namespace
}  // namespace vesta::testing
