#include "scenario/scenario.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "core/temporary_log.h"
#include "messages/dump_dialect.h"
#include "scenario/access_scenario_constraints.h"
#include "station/client_statistic_info.h"
#include "support/fake_clock.h"
#include "support/keyed_scenarios.h"

namespace vesta {
namespace {

using Records = TemporaryLog::Records;
using testing::scenario;

constexpr int kErrorsAndWarnings = 3;

// In the order in which it was written.
std::string dumpOf(const std::shared_ptr<Scenario>& target) {
    std::string text = target->dumpToMessage(std::make_shared<IPCDumpScenarioMessageFactory>())
                           ->getStringRepresentation();
    text.erase(std::remove_if(text.begin(), text.end(),
                              [](char c) { return c == ' ' || c == '\n' || c == '"'; }),
               text.end());
    return text;
}

TEST(Scenario, DumpsAnAccessScenarioWithLimitsAndProgress) {
    const testing::FakeClock clock;
    const auto target = scenario(
        R"({"type": "allow", "id": 3, "name": "guest", "time": 600, "session": 700, "away": 60,
            "traffic": 9000, "tx-speed": 2048, "rx-speed": 512})");
    target->startScenario(5);
    ClientStatisticInfo record("", {}, 100, 200, 0, 0, 0, 0, 0, 0, 0, 42, 0);
    target->updateStatistic(record);
    record.rxBytes = 150;
    target->updateStatistic(record);

    EXPECT_EQ(dumpOf(target),
              "{ID:1,name:guest,external-url:,start-session:true,permitted-ip:,session-timeout:700,"
              "session-time:5,time-limit:600,time-limit-cur:42,away-timeout:60,traffic-limit:9000,"
              "traffic-limit-cur:50,qos-up-acl:,qos-down-acl:,qos-up-policy:,qos-down-policy:,"
              "qos-bw-up-rate:524288,qos-bw-down-rate:2097152}");
}

TEST(Scenario, NamesAndBridgesWhatItsMessageLacks) {
    const std::pair<const char*, Records> rows[] = {
        {R"({"type": "allow"})", {"Redirect scenario not_named without param switch-scenario"}},
        {R"({"type": "forbid", "url": 7})",
         {"Redirect scenario not_named without param redirect-url",
          "Redirect scenario not_named without param virtual-portal-name. It's not gonna work "
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
    const TemporaryLog log(kErrorsAndWarnings);
    for (const char* const text : {"{}", R"({"type": "Allow"})", R"({"type": 1})", "no JSON"}) {
        EXPECT_FALSE(scenario(text)) << text;
    }
    EXPECT_EQ(log.records(),
              Records(4, "|WARNING|Scenario without specify type: allow, forbid or drop, skip it"));
}

TEST(Scenario, SaysWhenAKindIsAskedForWhatItDoesNotHold) {
    const TemporaryLog log(kErrorsAndWarnings);
    const auto login = scenario(
        R"({"type": "forbid", "id": 1, "name": "login", "url": "u", "portal": "p", "auth": "a",
            "white-list": "w", "white-list-data": ""})");
    AccessScenarioConstraints limits;
    EXPECT_EQ(login->get_name_deauth_scenario(), "");
    EXPECT_FALSE(login->clearExpireReason());
    EXPECT_EQ(login->getTxMaxSpeed(), 0U);
    login->updateScenarioConstraints(limits);
    EXPECT_EQ(login->getAwayTimeout(), 0);

    Records expected;
    for (const char* const operation : {"get_name_deauth_scenario", "clearExpireReason",
                                        "getTxMaxSpeed", "updateScenarioConstraints"}) {
        expected.push_back(std::string("|ERROR|Calling ") + operation +
                           " for scenario login whoes not store needed attribute! Something gone "
                           "wrong, this must not gonna happend!");
    }
    EXPECT_EQ(log.records(), expected);
}

}  // namespace
}  // namespace vesta
