// The other members are seen in the answers to "get" and "get-scenarios".

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "core/temporary_log.h"
#include "messages/dump_dialect.h"

namespace vesta {
namespace {

using nlohmann::json;

TEST(DumpDialect, WritesTheLowHalfOfLargeNumbersAndRefusesAnUnknownAccessType) {
    const TemporaryLog log(7);
    IPCDumpClientMessageFactory client;
    client.createMessage();
    client.addPassword("secret");
    client.addCurrentTrafficLimit(5000000000);
    client.addAccessType(ACCESS_DROP);
    client.addAccessType(static_cast<ACCESS_TYPE>(3));
    EXPECT_EQ(json::parse(client.getResultMessage()->getStringRepresentation()), json::parse(R"({
        "password": "secret", "traffic-limit-cur": 705032704, "access-type": "Drop"})"));
    EXPECT_EQ(log.records(),
              TemporaryLog::Records{"|ERROR|addAccessType try to add unknown access type!"});
}

}  // namespace
}  // namespace vesta
