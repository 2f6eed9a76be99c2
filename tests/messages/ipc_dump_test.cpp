#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <vector>

#include "core/temporary_log.h"
#include "messages/dump_dialect.h"

namespace vesta {
namespace {

using nlohmann::json;

json textOf(const std::shared_ptr<MessageEntry>& message) {
    return json::parse(message->getStringRepresentation());
}

// The other members are seen where a client and a scenario write themselves.
TEST(IpcDump, WritesTheLowHalfOfLargeNumbers) {
    IPCDumpClientMessageFactory client;
    client.createMessage();
    client.addPassword("secret");
    client.addCurrentTrafficLimit(5000000000);
    EXPECT_EQ(textOf(client.getResultMessage()),
              json::parse(R"({"password": "secret", "traffic-limit-cur": 705032704})"));

    IPCDumpScenarioMessageFactory scenario;
    scenario.createMessage();
    scenario.addId(0);
    scenario.addWhiteIpHash("abc");
    scenario.addWhiteIp("10.0.0.0/8");
    scenario.addTrafficLimit(4294967295);
    scenario.addCurrentTrafficLimit(2147483648);
    EXPECT_EQ(textOf(scenario.getResultMessage()), json::parse(R"({"ID": -2, "permitted-ip": "abc",
        "traffic-limit": -1, "traffic-limit-cur": -2147483648})"));
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
