#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <vector>

#include "core/temporary_log.h"
#include "messages/ipc_dump_factories.h"

namespace vesta {
namespace {

using nlohmann::json;

json textOf(const std::shared_ptr<MessageEntry>& message) {
    return json::parse(message->getStringRepresentation());
}

TEST(IpcDump, WritesAClientAsThePeersKnowIt) {
    IPCDumpClientMessageFactory factory;
    factory.createMessage();
    factory.addMacAddress("02:00:00:00:00:01");
    factory.addIpAddress("10.0.0.1");
    factory.addConnectionStatus(true);
    factory.addAccessType(ACCESS_REDIRECT);
    factory.addSessionId("0000000A-0000000B");
    factory.addLogin("anna");
    factory.addPassword("secret");
    factory.addRedirectionUrl("http://p/");
    factory.addProxyMode("usual");
    factory.addInterface("wlan0-va1");
    factory.addSsid("Guest");
    factory.addRadiusDomain("hall.example");
    factory.addApLocation("hall");
    factory.addVapMac("02:00:00:00:00:ff");
    factory.addSimultaneousUse(3);
    factory.addCntScenarios(5);
    factory.addCurrentScenarioId(2);
    factory.addCurrentScenarioName("guest");
    factory.addCurrentTimeLimit(60);
    factory.addSessionTime(61);
    factory.addCurrentTrafficLimit(5000000000);

    EXPECT_EQ(textOf(factory.getResultMessage()), json::parse(R"({
        "mac": "02:00:00:00:00:01", "ip": "10.0.0.1", "status": "connected",
        "access-type": "Redirect", "session-id": "0000000A-0000000B", "login": "anna",
        "password": "secret", "redirect-url": "http://p/", "interface": "wlan0-va1",
        "ssid": "Guest", "radius-domain": "hall.example", "mobility-domain": "hall",
        "simultaneous-use": 3, "scenarios-cnt": 3, "scenario-id-cur": 0, "time-limit-cur": 60,
        "session-time": 61, "traffic-limit-cur": 705032704})"));
}

TEST(IpcDump, WritesAScenarioAsThePeersKnowIt) {
    IPCDumpScenarioMessageFactory factory;
    factory.createMessage();
    factory.addId(0);
    factory.addName("guest");
    factory.addExternalUrl("");
    factory.addWithoutSession(true);
    factory.addWhiteIpHash("abc");
    factory.addWhiteIp("10.0.0.0/8");
    factory.addSessionTimeout(1);
    factory.addTimeLimit(2);
    factory.addAwayTimeout(3);
    factory.addTrafficLimit(4294967295);
    factory.addAclUp("a");
    factory.addAclDown("b");
    factory.addPolicyUp("c");
    factory.addPolicyDown("d");
    factory.addBandwidthUp(10);
    factory.addBandwidthDown(2048);
    factory.addCurrentTimeLimit(4);
    factory.addSessionTime(5);
    factory.addCurrentTrafficLimit(2147483648);

    EXPECT_EQ(textOf(factory.getResultMessage()), json::parse(R"({
        "ID": -2, "name": "guest", "external-url": "", "start-session": "false",
        "permitted-ip": "abc", "session-timeout": 1, "time-limit": 2, "away-timeout": 3,
        "traffic-limit": -1, "qos-up-acl": "a", "qos-down-acl": "b", "qos-up-policy": "c",
        "qos-down-policy": "d", "qos-bw-up-rate": 10240, "qos-bw-down-rate": 2097152,
        "time-limit-cur": 4, "session-time": 5, "traffic-limit-cur": -2147483648})"));
}

TEST(IpcDump, WritesScenariosOnlyWhereTheyAreAskedFor) {
    EXPECT_EQ(IPCDumpClientMessageFactory().getScenarioMessageFactory(), nullptr);

    IPCDumpClientScenariosMessageFactory factory;
    const auto scenarioFactory = factory.getScenarioMessageFactory();
    std::vector<std::shared_ptr<MessageEntry>> scenarios;
    for (const bool withoutSession : {true, false}) {
        scenarioFactory->createMessage();
        scenarioFactory->addWithoutSession(withoutSession);
        scenarios.push_back(scenarioFactory->getResultMessage());
    }
    factory.createMessage();
    factory.addScenarios(scenarios);
    EXPECT_EQ(
        textOf(factory.getResultMessage()),
        json::parse(R"({"scenario": [{"start-session": "false"}, {"start-session": "true"}]})"));
}

TEST(IpcDump, RefusesAnUnknownAccessType) {
    const TemporaryLog log(7);
    IPCDumpClientMessageFactory factory;
    factory.createMessage();
    factory.addAccessType(ACCESS_ALLOW);
    const auto first = factory.getResultMessage();
    factory.createMessage();
    factory.addAccessType(static_cast<ACCESS_TYPE>(3));

    EXPECT_EQ(textOf(first), json::parse(R"({"access-type": "Allow"})"));
    EXPECT_EQ(textOf(factory.getResultMessage()), json::object());
    EXPECT_EQ(log.records(),
              TemporaryLog::Records{"|ERROR|addAccessType try to add unknown access type!"});
}

}  // namespace
}  // namespace vesta
