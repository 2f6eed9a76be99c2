#include "scenario/access_scenario.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "station/client_statistic_info.h"
#include "support/fake_clock.h"
#include "support/keyed_scenarios.h"

namespace vesta {
namespace {

using testing::FakeClock;
using testing::scenario;

void feed(Scenario& target, std::uint64_t transmitted, std::uint64_t received, int uptime = 0) {
    ClientStatisticInfo record;
    record.rxBytes = transmitted;
    record.txBytes = received;
    record.uptime = uptime;
    target.updateStatistic(record);
}

TEST(AccessScenario, ExpiresOnlyBeyondItsLimits) {
    // The limits, what the second record says (the first is 10000 bytes each way), the outcome.
    const struct {
        const char* limits;
        std::uint64_t transmitted, received;
        int uptime;
        const char* reason;
    } rows[] = {
        {R"("time": 600)", 0, 0, 600, ""},
        {R"("time": 600)", 0, 0, 601, "time-over"},
        {R"("traffic": 1000)", 600, 400, 0, ""},
        {R"("traffic": 1000)", 600, 401, 0, "traffic-over"},
        {R"("traffic": 1000)", 1001, 0, 0, "traffic-over"},
        {R"("tx-bytes": 1000)", 1000, 9000, 0, ""},
        {R"("tx-bytes": 1000)", 1001, 0, 0, "traffic-over"},
        {R"("rx-bytes": 1000)", 9000, 1000, 0, ""},
        {R"("rx-bytes": 1000)", 0, 1001, 0, "traffic-over"},
        {R"("rx-bytes": -1, "tx-bytes": -1, "traffic": -1)", 1ULL << 62, 1, 0, ""},
        {R"("time": 5, "traffic": 5)", 6, 6, 6, "time-over"},
        {R"("id": 1)", 1ULL << 40, 1ULL << 40, 1 << 30, ""},
    };
    const FakeClock clock;
    for (const auto& row : rows) {
        const std::string text = R"({"type": "allow", "name": "guest", "deauth": "over", )" +
                                 (row.limits + std::string("}"));
        const auto target = scenario(text.c_str());
        target->startScenario(0);
        feed(*target, 10000, 10000);
        feed(*target, 10000 + row.transmitted, 10000 + row.received, row.uptime);
        EXPECT_EQ(target->isExpired(), *row.reason != '\0') << text;
        EXPECT_EQ(target->getExpireReason(), row.reason) << text;
    }
}

TEST(AccessScenario, CountsTheSessionFromItsSyncTime) {
    FakeClock clock;
    const auto target = scenario(R"({"type": "allow", "name": "guest", "session": 3600})");
    target->startScenario(3000);
    clock.advanceSeconds(600);
    EXPECT_FALSE(target->isExpired());
    EXPECT_EQ(target->getScenarioTime(), 3600);
    clock.advanceSeconds(1);
    EXPECT_TRUE(target->isExpired());
    EXPECT_EQ(target->getExpireReason(), "session-over");
    target->startScenario(0);
    EXPECT_EQ(target->getExpireReason(), "");
}

TEST(AccessScenario, CountsTrafficFromTheFirstRecordAfterAStart) {
    const FakeClock clock;
    const auto target = scenario(R"({"type": "allow", "name": "guest", "traffic": 1000000})");
    feed(*target, 7000, 3000);
    target->startScenario(0);
    EXPECT_EQ(target->getCurrentTraffic(), 10000);
    feed(*target, 0, 3000);  // a counter at zero has not begun
    feed(*target, 8000, 3000);
    EXPECT_EQ(target->getCurrentTraffic(), 0);
    feed(*target, 8500, 3500);
    EXPECT_EQ(target->getCurrentTraffic(), 1000);
}

TEST(AccessScenario, HandsBackTheDriversCountersAndItsLimit) {
    const auto target = scenario(R"({"type": "allow", "name": "guest", "time": 600})");
    ClientStatisticInfo record("wlan0", MacAddr("02:00:00:00:00:01"), 1, 2, 3, 4, 5, 6, 7, 8, 9, 10,
                               11);
    target->updateStatistic(record);
    const ClientStatisticInfo back = target->getStatistic();

    EXPECT_EQ(back.interface, "");
    EXPECT_TRUE(back.identity.mac.isZero());
    const std::vector<std::uint64_t> counters = {
        back.rxBytes,       back.txBytes,          back.rxPackets,
        back.txPackets,     back.rxDroppedPackets, back.txDroppedPackets,
        back.txLostPackets, back.txDroppedBytes,   back.rxDroppedBytes};
    EXPECT_EQ(counters, (std::vector<std::uint64_t>{1, 2, 3, 4, 5, 6, 7, 8, 9}));
    EXPECT_EQ(back.uptime, 10);
    EXPECT_EQ(back.timeLimit, 600);
}

TEST(AccessScenarioConstraints, TakeOverWhatIsNotZeroButTheAwayTimeout) {
    AccessScenarioConstraints limits(std::make_shared<JsonEntry>(
        R"({"expire-time": 1, "away-timeout": 2, "transmit-maximum-speed": 3,
            "receive-maximum-speed": 4, "transmit-maximum-bytes": 5,
            "receive-maximum-bytes": -1, "traffic-limit": 7})"));
    limits.update(AccessScenarioConstraints(std::make_shared<JsonEntry>(
        R"({"expire-time": "11", "away-timeout": 30, "max-session-time": 18, "traffic-limit": 0,
            "receive-maximum-speed": {}})")));

    EXPECT_EQ(limits.expireTime, 11);
    EXPECT_EQ(limits.awayTimeout, 2);
    EXPECT_EQ(limits.txMaxSpeed, 3U);
    EXPECT_EQ(limits.rxMaxSpeed, 4U);
    EXPECT_EQ(limits.txMaxBytes, 5U);
    EXPECT_EQ(limits.rxMaxBytes, 18446744073709551615U);
    EXPECT_EQ(limits.trafficLimit, 7U);
    EXPECT_EQ(limits.maxSessionTime, 18);
}

}  // namespace
}  // namespace vesta
