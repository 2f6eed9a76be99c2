#include "inform/trap_informator.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "support/bus_peer.h"
#include "support/fake_portal_instance.h"
#include "support/test_client.h"

namespace vesta::testing {
namespace {

using nlohmann::json;

class TrapInformatorTest : public BusTest {
protected:
    json traps() {
        json sent = json::array();
        for (const std::string& text : monitord.takeFrom(*ipc, IPC_MODULE_MONITORD_TRAPS)) {
            sent.push_back(json::parse(text));
        }
        return sent;
    }

    BusPeer monitord{IPC_MODULE_MONITORD_TRAPS, {"cp-client-trap"}};
    FakePortalInstance instance;
    ClientStatisticInfo statistics;
    TrapInformator informator{ipc};
};

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
    json expected = json::parse(R"({"command": "cp-client-trap", "event": {
        "mac": "0a:1b:2c:3d:4e:5f", "ip": "10.1.2.3", "username": "bob", "ssid": "Guest",
        "domain": "hall.example", "name": "wlan0-va1", "dev": "wlan0-va1"}})");
    json all;
    for (const char* type : {"cp-connected", "cp-deauth", "cp-disconnected", "cp-disconnected"}) {
        expected["event"]["type"] = type;
        all.push_back(expected);
    }
    EXPECT_EQ(traps(), all);
}

TEST_F(TrapInformatorTest, LeavesOutWhatTheInstanceLacksButNotWhatTheStationLacks) {
    instance.name = instance.ssid = instance.domain = instance.attachedInterface = "";
    informator.informClientConnected(makeClient(instance, 0, 0, ""), statistics);
    EXPECT_EQ(traps(), json::parse(R"([{"command": "cp-client-trap", "event": {
        "type": "cp-connected", "mac": "0a:1b:2c:3d:4e:5f", "ip": "", "username": ""}}])"));
}

}  // namespace
}  // namespace vesta::testing
