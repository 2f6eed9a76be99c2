#include "inform/redirector_client_message_factory.h"

#include <gtest/gtest.h>

#include "inform/json_support.h"
#include "support/fake_portal_instance.h"
#include "support/test_client.h"

namespace vesta::testing {
namespace {

std::string textOf(ClientMessageFactory& factory) {
    return factory.getResultMessage()->getStringRepresentation();
}

TEST(RedirectorClientMessageFactory, WritesItsKeysIntoTheTemplate) {
    RedirectorClientMessageFactory factory(R"({"status": 1, "proxy-mode": "usual",})");
    factory.createMessage();
    EXPECT_TRUE(sameJson(textOf(factory), R"({"status": 1, "proxy-mode": "usual"})"));
    factory.addLogin("");
    factory.addVirtualPortalName("");
    factory.addIpAddress("");
    EXPECT_TRUE(sameJson(textOf(factory), R"({"status": 1, "proxy-mode": "usual", "cli-ip": ""})"));
    factory.addMacAddress("m");
    factory.addIpAddress("i");
    factory.addConnectionStatus(true);
    factory.addAccessType(ACCESS_DROP);
    factory.addSessionId("0-1");
    factory.addLogin("l");
    factory.addPassword("secret");
    factory.addRedirectionUrl("u");
    factory.addProxyMode("p");
    factory.addVirtualPortalName("v");
    factory.addInterface("if");
    factory.addSsid("s");
    factory.addRadiusDomain("d");
    factory.addApLocation("a");
    factory.addVapMac("w");
    factory.addCurrentState("c");
    factory.addEndReason("e");
    factory.addEndExpireValue("x");
    EXPECT_TRUE(sameJson(
        textOf(factory),
        R"({"status": 1, "cli-mac": "m", "cli-ip": "i", "cli-login": "l", "portal-url": "u",
            "proxy-mode": "p", "virtual-portal-name": "v", "ssid": "s", "domain": "d",
            "ap-location": "a", "ap-mac": "w", "cur-state": "c", "end-reason": "e",
            "end-value": "x"})"));
}

TEST(RedirectorClientMessageFactory, WritesConnectedStationsOnly) {
    FakePortalInstance instance;
    const auto client = makeClient(instance);
    const auto factory = std::make_shared<RedirectorClientMessageFactory>("{}");
    EXPECT_EQ(client->dumpToMessage(factory), nullptr);
    ClientStatisticInfo statistics;
    client->updateStatistic(statistics);
    client->updateConnectStatus();
    const auto message = client->dumpToMessage(factory);
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(message->getCharValue("cli-mac"), kClientMac);
}

}  // namespace
}  // namespace vesta::testing
