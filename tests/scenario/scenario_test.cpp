#include "scenario/scenario.h"

#include <gtest/gtest.h>

#include <tuple>

#include "core/temporary_log.h"
#include "scenario/access_scenario_constraints.h"
#include "station/client_statistic_info.h"
#include "support/fake_clock.h"
#include "support/keyed_scenarios.h"

namespace vesta {
namespace {

using Records = TemporaryLog::Records;
using testing::FakeClock;
using testing::scenario;

constexpr int kErrorsAndWarnings = 3;

void feed(Scenario& target, std::uint64_t transmitted, std::uint64_t received, int uptime = 0) {
    ClientStatisticInfo record;
    record.rxBytes = transmitted;
    record.txBytes = received;
    record.uptime = uptime;
    target.updateStatistic(record);
}

TEST(Scenario, NamesAndBridgesWhatItsMessageLacks) {
    const std::pair<const char*, Records> rows[] = {
        {R"({"type": "allow"})", {"Redirect scenario not_named without param switch-scenario"}},
        {R"({"type": "forbid", "url": 7})",
         {"Redirect scenario not_named without param redirect-url",
          "Redirect scenario not_named without param virtual-portal-name. It's "
          "not gonna work "
          "with Ostrel realization of portal",
          "Redirect scenario not_named without param switch-scenario",
          "Redirect scenario not_named without param white list"}},
        {R"({"type": "drop"})",
         {"Value mac-auth-success-scenario not set", "Value mac-auth-failure-scenario not set"}}};
    for (const auto& [text, complaints] : rows) {
        const TemporaryLog log(kErrorsAndWarnings);
        const auto target = scenario(text);
        ASSERT_TRUE(target);
        EXPECT_EQ(target->getScenarioName(), "not_named");
        EXPECT_EQ(target->getId(), 0U);
        Records expected{"|WARNING|Scenario without name, use default name",
                         "|WARNING|Scenario without ID, this can be very bad"};
        for (const std::string& complaint : complaints) {
            expected.push_back("|WARNING|" + complaint);
        }
        EXPECT_EQ(log.records(), expected);
    }
}

TEST(ScenarioFactory, SkipsAMessageWithoutAValidType) {
    for (const char* const text : {"{}", R"({"type": "Allow"})", R"({"type": 1})", "no JSON"}) {
        EXPECT_FALSE(scenario(text)) << text;
    }
}

TEST(AccessScenario, ExpiresOnlyBeyondItsLimits) {
    // The limits; what the second record says (the first is 10000 bytes each
    // way); the outcome. The station comes with 3000 seconds of session already
    // spent.
    const struct {
        const char* limits;
        std::uint64_t transmitted, received;
        int uptime;
        const char* reason;
    } rows[] = {
        {R"("session": 3600)", 0, 0, 600, ""},
        {R"("session": 3600)", 0, 0, 601, "session-over"},
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
    FakeClock clock;
    for (const auto& row : rows) {
        const std::string text = R"({"type": "allow", "name": "guest", "deauth": "over", )" +
                                 (row.limits + std::string("}"));
        const auto target = scenario(text.c_str());
        target->startScenario(3000);
        feed(*target, 10000, 10000);
        clock.advanceSeconds(row.uptime);
        feed(*target, 10000 + row.transmitted, 10000 + row.received, row.uptime);
        EXPECT_EQ(target->isExpired(), *row.reason != '\0') << text;
        EXPECT_EQ(target->getExpireReason(), row.reason) << text;
        target->startScenario(0);
        EXPECT_EQ(target->getExpireReason(), "") << text;
    }
}

TEST(AccessScenario, CountsTrafficFromTheFirstRecordAfterAStart) {
    const FakeClock clock;
    const auto target = scenario(R"({"type": "allow", "name": "guest", "traffic": 1000000})");
    feed(*target, 7000, 3000);
    target->startScenario(0);
    EXPECT_EQ(target->getCurrentTraffic(), 0);
    feed(*target, 0, 3000);  // a counter at zero has not begun
    feed(*target, 8000, 3000);
    EXPECT_EQ(target->getCurrentTraffic(), 0);
    feed(*target, 8500, 3500);
    EXPECT_EQ(target->getCurrentTraffic(), 1000);
}

TEST(AccessScenarioConstraints, TakeOverWhatIsNotZeroButTheAwayTimeout) {
    AccessScenarioConstraints limits(std::make_shared<JsonEntry>(
        R"({"expire-time": 1, "away-timeout": 2, "transmit-maximum-speed": 3,
            "receive-maximum-speed": 4, "transmit-maximum-bytes": 5,
            "receive-maximum-bytes": -1, "traffic-limit": 5000000000})"));
    limits.update(AccessScenarioConstraints(std::make_shared<JsonEntry>(
        R"({"expire-time": "11", "away-timeout": 30, "max-session-time": 18, "traffic-limit": 0,
            "receive-maximum-speed": {}})")));

    EXPECT_EQ(std::tie(limits.expireTime, limits.awayTimeout, limits.maxSessionTime),
              std::make_tuple(11, 2, 18));
    EXPECT_EQ(std::tie(limits.txMaxSpeed, limits.rxMaxSpeed, limits.trafficLimit),
              std::make_tuple(3U, 4U, 5000000000U));
    EXPECT_EQ(std::tie(limits.txMaxBytes, limits.rxMaxBytes),
              std::make_tuple(5U, 18446744073709551615U));
}

}  // namespace
}  // namespace vesta
