#include "client/client.h"

#include <gtest/gtest.h>

#include "messages/client_message_extractor.h"
#include "scenario/manageable_scenario_sequence.h"
#include "support/fake_clock.h"
#include "support/fake_portal_instance.h"
#include "support/keyed_scenarios.h"

namespace vesta {
namespace {

using testing::FakeClock;
using testing::FakePortalInstance;
using testing::sequence;

constexpr const char* kMac = "0a:1b:2c:3d:4e:5f";

class ClientTest : public ::testing::Test {
protected:
    FakeClock clock_;
    FakePortalInstance owner_;
    Client client_{sequence<ManageableScenarioSequence>(
                       {R"({"type": "allow", "id": 0, "name": "guest", "session": 100, "away": 7,
                 "time": 50, "tx-speed": 2, "rx-speed": 3})",
                        R"({"type": "forbid", "id": 1, "name": "login", "white-list": "list",
                 "white-list-data": ""})",
                        R"({"type": "forbid", "id": 2, "name": "bare", "white-list": "",
                 "white-list-data": ""})"}),
                   MacAddr(kMac), "", 1500, owner_};
};

TEST_F(ClientTest, StartsItsFirstScenario) {
    clock_.advanceSeconds(100);
    EXPECT_FALSE(client_.checkScenarioExpire());
    clock_.advanceSeconds(1);
    EXPECT_TRUE(client_.checkScenarioExpire());
}

TEST_F(ClientTest, AnswersFromItsCurrentScenario) {
    EXPECT_TRUE(client_.isAccessOpen());
    EXPECT_EQ(client_.getSpeedConstraints(), std::make_pair(2U, 3U));
    EXPECT_EQ(client_.getAwayTimeout(), 7);
    EXPECT_EQ(client_.getWhiteIpListId(), "free") << "the instance's default";
    EXPECT_FALSE(client_.isAuthorized());
    EXPECT_TRUE(client_.setCurrentScenario("login"));
    EXPECT_EQ(client_.getAccessType(), ACCESS_REDIRECT);
    EXPECT_EQ(client_.getWhiteIpListId(), "list");
    EXPECT_TRUE(client_.setCurrentScenario("bare"));
    EXPECT_EQ(client_.getWhiteIpListId(), "free");
    EXPECT_TRUE(client_.isAuthorized());
    EXPECT_FALSE(client_.set_deauth_scenario_client()) << "it was the last";
}

TEST_F(ClientTest, ClearsTheLastExpiryWhenScenarioZeroIsSet) {
    const auto guest = client_.get_current_scenario();
    EXPECT_FALSE(client_.setCurrentScenario("0")) << "a redirect scenario has no reason";
    EXPECT_EQ(client_.get_current_scenario(), guest);
    EXPECT_TRUE(client_.setCurrentScenario("login"));
    EXPECT_TRUE(client_.setCurrentScenario("0"));
    EXPECT_EQ(guest->getExpireReason(), "cleared");
    EXPECT_EQ(client_.get_current_scenario()->getScenarioName(), "login");
}

class RecordExtractor final : public ClientMessageExtractor {
public:
    std::shared_ptr<ScenarioMessageExtractor> getScenarioExtractor() override {
        return std::make_shared<testing::KeyedScenarios>();
    }
    std::string extractLogin(Entry record) override { return record->getCharValue("login"); }
    unsigned int extractCurrentScenarioId(Entry) override { return 9; }
    long extractSessionTime(Entry) override { return 5; }
    std::vector<Entry> extractScenarios(Entry record) override {
        return record->getArrayValue("scenarios");
    }
};

TEST_F(ClientTest, FromARecordIsAuthorisedAlsoWhereItsScenarioIsUnknown) {
    const auto record = std::make_shared<JsonEntry>(
        R"({"login": "", "scenarios": [{"type": "forbid", "id": 2, "name": "2"},
                                       {"type": "allow", "id": 3, "name": "3"}]})");
    const Client restored(record, std::make_shared<RecordExtractor>(), MacAddr(kMac), "", 1500,
                          owner_);
    EXPECT_EQ(restored.get_current_scenario()->getId(), 2U);
    EXPECT_TRUE(restored.isAuthorized());
}

}  // namespace
}  // namespace vesta
