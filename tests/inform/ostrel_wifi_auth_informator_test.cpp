#include "inform/ostrel_wifi_auth_informator.h"

#include <gtest/gtest.h>

#include "platform/modules/fake_server.h"
#include "support/fake_portal_instance.h"
#include "support/test_client.h"

namespace vesta::testing {
namespace {

class WifiAuthTest : public ostrel::testing::ModulesTest {
protected:
    ostrel::testing::FakeServer server{path("wifi-auth")};
    FakePortalInstance instance;
    std::shared_ptr<Client> client = makeClient(instance);
    ClientStatisticInfo statistics;
    OstrelWifiAuthInformator informator;
};

TEST_F(WifiAuthTest, LossOfAuthenticationIsOneRecord) {
    EXPECT_TRUE(informator.informClientConnected(client, statistics));
    EXPECT_TRUE(informator.informClientDeuthenticated(client, statistics));
    EXPECT_TRUE(informator.informClientDrop(client, statistics));
    EXPECT_TRUE(informator.informClientRemoved(client, statistics));
    for (int written = 0; written < 3; ++written) {
        EXPECT_EQ(server.receiveFile(), "cp-auth-result wlan0-va1 0a:1b:2c:3d:4e:5f 0");
    }
}

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
