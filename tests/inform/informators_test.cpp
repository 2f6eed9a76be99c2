// What traps and the wifi-auth file get.

#include "inform/ostrel_wifi_auth_informator.h"
#include "inform/trap_informator.h"
#include "platform/modules/fake_server.h"
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

class WifiAuthTest : public ostrel::testing::ModulesTest {
protected:
    ostrel::testing::FakeServer server{path("wifi-auth")};
    FakePortalInstance instance;
    std::shared_ptr<Client> client = makeClient(instance);
    ClientStatisticInfo statistics;
    OstrelWifiAuthInformator informator;
};

TEST_F(WifiAuthTest, AuthenticationIsThreeRecordsOfWhichALoginForgesNone) {
    const std::pair<const char*, std::string> logins[] = {
        {"bob\ncp-auth-result wlan0-va1 0a:00:00:00:00:01 1", "bob"},
        {"\rx", ""},
        {"a\x7f", "a"},
        {"j\xc3\xb6rg smith", "j\xc3\xb6rg smith"},
    };
    for (const auto& [login, written] : logins) {
        client->setLogin(login);
        EXPECT_TRUE(informator.informClientAuthenticated(client, statistics));
        EXPECT_EQ(server.receiveFile(), "username wlan0-va1 0a:1b:2c:3d:4e:5f " + written);
        EXPECT_EQ(server.receiveFile(), "domain wlan0-va1 0a:1b:2c:3d:4e:5f hall.example");
        EXPECT_EQ(server.receiveFile(), "cp-auth-result wlan0-va1 0a:1b:2c:3d:4e:5f 1");
    }
    setenv("OSTREL_RUNTIME_DIR", "/dev/null/nowhere", 1);
    EXPECT_TRUE(informator.informClientAuthenticated(client, statistics)) << "without the driver";
}

}  // namespace
}  // namespace vesta::testing
