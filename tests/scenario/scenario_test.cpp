#include "scenario/scenario.h"

#include <gtest/gtest.h>

#include "client/client_statistic_info.h"
#include "core/temporary_log.h"
#include "messages/ipc_dump_factories.h"
#include "scenario/access_scenario_constraints.h"
#include "support/fake_clock.h"
#include "support/keyed_scenarios.h"

namespace vesta {
namespace {

using Records = TemporaryLog::Records;
using testing::scenario;

constexpr int kErrorsAndWarnings = 3;

// A dialect without the peers' arithmetic: "operation=value" in the order of the calls.
class CallList final : public ScenarioMessageFactory {
public:
    void createMessage() override { calls = "new"; }
    std::shared_ptr<MessageEntry> getResultMessage() override { return nullptr; }
    void addId(unsigned int value) override { add("id", std::to_string(value)); }
    void addName(const std::string& value) override { add("name", value); }
    void addExternalUrl(const std::string& value) override { add("url", value); }
    void addWithoutSession(bool value) override { add("noSession", value ? "1" : "0"); }
    void addWhiteIpHash(const std::string& value) override { add("hash", value); }
    void addWhiteIp(const std::string& value) override { add("white", value); }
    void addSessionTimeout(long value) override { add("sessionMax", std::to_string(value)); }
    void addTimeLimit(long value) override { add("timeMax", std::to_string(value)); }
    void addAwayTimeout(long value) override { add("away", std::to_string(value)); }
    void addTrafficLimit(long long value) override { add("trafficMax", std::to_string(value)); }
    void addAclUp(const std::string& value) override { add("aclUp", value); }
    void addAclDown(const std::string& value) override { add("aclDown", value); }
    void addPolicyUp(const std::string& value) override { add("policyUp", value); }
    void addPolicyDown(const std::string& value) override { add("policyDown", value); }
    void addBandwidthUp(unsigned int value) override { add("up", std::to_string(value)); }
    void addBandwidthDown(unsigned int value) override { add("down", std::to_string(value)); }
    void addCurrentTimeLimit(long value) override { add("time", std::to_string(value)); }
    void addSessionTime(long value) override { add("session", std::to_string(value)); }
    void addCurrentTrafficLimit(long long value) override { add("traffic", std::to_string(value)); }

    std::string calls;

private:
    void add(const char* name, const std::string& value) { calls += ' ' + (name + ('=' + value)); }
};

std::string callsOf(const std::shared_ptr<Scenario>& target) {
    const auto factory = std::make_shared<CallList>();
    target->dumpToMessage(factory);
    return factory->calls;
}

TEST(Scenario, DumpsAnAccessScenarioWithLimitsAndProgress) {
    const testing::FakeClock clock;
    const auto target = scenario(
        R"({"type": "allow", "id": 3, "name": "guest", "time": 600, "session": 700, "away": 60,
            "traffic": 9000, "tx-speed": 2048, "rx-speed": 512})");
    target->startScenario(5);
    ClientStatisticInfo record("", "", 100, 200, 0, 0, 0, 0, 0, 0, 0, 42, 0);
    target->updateStatistic(record);
    record.rxBytes = 150;
    target->updateStatistic(record);

    EXPECT_EQ(callsOf(target),
              "new id=3 name=guest url= noSession=0 hash= sessionMax=700 session=5 timeMax=600 "
              "time=42 away=60 trafficMax=9000 traffic=50 aclUp= aclDown= policyUp= policyDown= "
              "up=512 down=2048");
}

TEST(Scenario, DumpsARedirectScenarioWithItsListsData) {
    EXPECT_EQ(callsOf(scenario(R"({"type": "forbid", "name": "login", "url": "http://p/",
                                   "portal": "main", "auth": "guest", "white-list": "free",
                                   "white-list-data": "5f"})")),
              "new id=0 name=login url=http://p/ noSession=0 white=5f sessionMax=0 session=0 "
              "timeMax=0 time=0 away=0 trafficMax=0 traffic=0 aclUp= aclDown= policyUp= "
              "policyDown= up=0 down=0");
}

TEST(Scenario, ReportsNoProgressAgainstALimitThatIsNotSet) {
    const auto target = scenario(R"({"type": "allow", "name": "guest"})");
    ClientStatisticInfo record("", "", 100, 200, 0, 0, 0, 0, 0, 0, 0, 42, 0);
    target->updateStatistic(record);
    EXPECT_EQ(target->getCurrentTimeLimit(), 0);
    EXPECT_EQ(target->getConnectionTime(), 42);
    EXPECT_EQ(target->getCurrentTraffic(), 0);
}

// A message that lacks everything but the type, and what is said of it.
struct GapCase {
    const char* text;
    Records records;
};

class Gaps : public ::testing::TestWithParam<GapCase> {};

TEST_P(Gaps, AreNamedAndBridged) {
    const TemporaryLog log(kErrorsAndWarnings);
    const auto target = scenario(GetParam().text);
    ASSERT_TRUE(target);
    EXPECT_EQ(target->getScenarioName(), "not_named");
    EXPECT_EQ(target->getId(), 0U);
    EXPECT_EQ(log.records(), GetParam().records);
}

const std::string kNoName = "|WARNING|Scenario without name, use default name";
const std::string kNoId = "|WARNING|Scenario without ID, this can be very bad";

INSTANTIATE_TEST_SUITE_P(
    Scenario, Gaps,
    ::testing::Values(
        GapCase{
            R"({"type": "allow"})",
            {kNoName, kNoId, "|WARNING|Redirect scenario not_named without param switch-scenario"}},
        GapCase{R"({"type": "forbid", "url": 7})",
                {kNoName, kNoId, "|WARNING|Redirect scenario not_named without param redirect-url",
                 "|WARNING|Redirect scenario not_named without param virtual-portal-name. It's not "
                 "gonna work with Ostrel realization of portal",
                 "|WARNING|Redirect scenario not_named without param switch-scenario",
                 "|WARNING|Redirect scenario not_named without param white list"}},
        GapCase{R"({"type": "drop"})",
                {kNoName, kNoId, "|WARNING|Value mac-auth-success-scenario not set",
                 "|WARNING|Value mac-auth-failure-scenario not set"}}));

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

TEST(Scenario, CopiesLimitsAndProgressButNotTheFuture) {
    const auto original = scenario(R"({"type": "allow", "id": 4, "name": "guest", "time": 10,
                                       "deauth": "over"})");
    ClientStatisticInfo record("", "", 0, 0, 0, 0, 0, 0, 0, 0, 0, 11, 0);
    original->updateStatistic(record);
    const auto copy = original->getSenarioCopy();
    AccessScenarioConstraints more;
    more.expireTime = 100;
    original->updateScenarioConstraints(more);
    original->setId(5);

    EXPECT_TRUE(copy->isExpired());
    EXPECT_FALSE(original->isExpired());
    EXPECT_EQ(copy->getId(), 4U);
    EXPECT_EQ(copy->getScenarioName(), "guest");
    EXPECT_EQ(copy->get_name_deauth_scenario(), "over");
}

}  // namespace
}  // namespace vesta
