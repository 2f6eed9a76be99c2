#include <gtest/gtest.h>

#include "station/client_identity.h"
#include "station/client_statistic_info.h"

namespace vesta {
namespace {

TEST(ClientIdentity, ShowsTheAccountingIdBehindTheUserName) {
    const MacAddr mac("0a:1b:2c:3d:4e:5f");
    EXPECT_EQ(ClientIdentity(mac, "", "", "bob").to_string(), "mac=0a:1b:2c:3d:4e:5f/username=");
    EXPECT_EQ(ClientIdentity(mac, "10.0.0.1", "A1", "bob").to_string(),
              "mac=0a:1b:2c:3d:4e:5f/ip=10.0.0.1/accounting_id=A1/username=A1");
}

TEST(ClientStatisticInfo, TellsTheValueThatEndedAScenario) {
    ClientStatisticInfo record("wlan0-va1", MacAddr("02:00:00:00:00:01"), 3000000000, 0, 0, 0, 0, 0,
                               0, 0, 0, 61, 62);
    EXPECT_EQ(record.endReason, END_REASON_NONE);
    EXPECT_EQ(record.getExpiredValue("time-over"), "62");
    EXPECT_EQ(record.getExpiredValue("session-over"), "61");
    EXPECT_EQ(record.getExpiredValue("traffic-over"), "-1294967296");
    EXPECT_EQ(record.getExpiredValue("unknown"), "");
    record.rxBytes = (5ULL << 32U) + 7;
    record.txBytes = (9ULL << 32U) + 4;
    EXPECT_EQ(record.getExpiredValue("traffic-over"), "11");
}

}  // namespace
}  // namespace vesta
