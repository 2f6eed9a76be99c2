#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "core/temporary_log.h"
#include "messages/dump_dialect.h"

namespace vesta {
namespace {

using nlohmann::json;

json textOf(const std::shared_ptr<MessageEntry>& message) {
    return json::parse(message->getStringRepresentation());
}

// The other members are seen in the answers to "get" and "get-scenarios".
TEST(DumpDialect, WritesTheLowHalfOfLargeNumbersAndTheSessionsOpposite) {
    IPCDumpClientMessageFactory client;
    client.createMessage();
    client.addPassword("secret");
    client.addCurrentTrafficLimit(5000000000);
    EXPECT_EQ(textOf(client.getResultMessage()),
              json::parse(R"({"password": "secret", "traffic-limit-cur": 705032704})"));

    IPCDumpScenarioMessageFactory scenario;
    scenario.createMessage();
    scenario.addId(0);
    scenario.addWithoutSession(true);
    scenario.addWhiteIpHash("abc");
    scenario.addWhiteIp("10.0.0.0/8");
    scenario.addTrafficLimit(4294967295);
    scenario.addCurrentTrafficLimit(2147483648);
    EXPECT_EQ(textOf(scenario.getResultMessage()),
              json::parse(R"({"ID": -2, "start-session": "false", "permitted-ip": "abc",
                              "traffic-limit": -1, "traffic-limit-cur": -2147483648})"));
}

TEST(DumpDialect, RefusesAnUnknownAccessType) {
    const TemporaryLog log(7);
    IPCDumpClientMessageFactory factory;
    factory.createMessage();
    factory.addAccessType(ACCESS_DROP);
    const auto first = factory.getResultMessage();
    factory.createMessage();
    factory.addAccessType(static_cast<ACCESS_TYPE>(3));

    EXPECT_EQ(textOf(first), json::parse(R"({"access-type": "Drop"})"));
    EXPECT_EQ(textOf(factory.getResultMessage()), json::object());
    EXPECT_EQ(log.records(),
              TemporaryLog::Records{"|ERROR|addAccessType try to add unknown access type!"});
}

}  // namespace
}  // namespace vesta
