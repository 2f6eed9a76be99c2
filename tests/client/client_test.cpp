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
    std::unique_ptr<Client> makeClient(const std::string& ip) {
        return std::make_unique<Client>(
            sequence<ManageableScenarioSequence>(
                {R"({"type": "allow", "id": 0, "name": "guest", "session": 100, "away": 7,
                     "time": 50, "tx-speed": 2, "rx-speed": 3})",
                 R"({"type": "forbid", "id": 1, "name": "login", "white-list": "list",
                     "white-list-data": ""})",
                 R"({"type": "forbid", "id": 2, "name": "bare", "white-list": "",
                     "white-list-data": ""})"}),
            kMac, ip, 1500, owner_);
    }

    FakeClock clock_;
    FakePortalInstance owner_;
};

TEST_F(ClientTest, IsFoundByIpMacOrLogin) {
    const auto client = makeClient("");
    const char* const otherMac = "02:00:00:00:00:01";
    EXPECT_TRUE(client->isThatYou({kMac, "10.0.0.9", "", "eve"}));
    EXPECT_FALSE(client->isThatYou({otherMac, "", "", ""})) << "empty keys match nothing";
    client->setIpAddress("10.0.0.1");
    client->setLogin("anna");
    EXPECT_TRUE(client->isThatYou({otherMac, "10.0.0.1", "", ""}));
    EXPECT_TRUE(client->isThatYou({otherMac, "", "", "anna"}));
    EXPECT_FALSE(client->isThatYou({otherMac, "10.0.0.10", "anna", "ann"}));
}

TEST_F(ClientTest, AnswersFromItsCurrentScenario) {
    const auto client = makeClient("");
    EXPECT_TRUE(client->isAccessOpen());
    EXPECT_EQ(client->getSpeedConstraints(), std::make_pair(2U, 3U));
    EXPECT_EQ(client->getAwayTimeout(), 7);
    EXPECT_EQ(client->getWhiteIpListId(), "free") << "the instance's default";
    EXPECT_FALSE(client->isAuthorized());
    EXPECT_TRUE(client->setCurrentScenario("login"));
    EXPECT_EQ(client->getAccessType(), ACCESS_REDIRECT);
    EXPECT_EQ(client->getWhiteIpListId(), "list");
    EXPECT_TRUE(client->setCurrentScenario("bare"));
    EXPECT_EQ(client->getWhiteIpListId(), "free");
    EXPECT_TRUE(client->isAuthorized());
    EXPECT_FALSE(client->set_deauth_scenario_client()) << "it was the last";
}

TEST_F(ClientTest, ClearsTheLastExpiryWhenScenarioZeroIsSet) {
    const auto client = makeClient("");
    const auto guest = client->get_current_scenario();
    EXPECT_FALSE(client->setCurrentScenario("0")) << "a redirect scenario has no reason";
    EXPECT_EQ(client->get_current_scenario(), guest);
    EXPECT_TRUE(client->setCurrentScenario("login"));
    EXPECT_TRUE(client->setCurrentScenario("0"));
    EXPECT_EQ(guest->getExpireReason(), "cleared");
    EXPECT_EQ(client->get_current_scenario()->getScenarioName(), "login");
}

class RecordExtractor final : public ClientMessageExtractor {
public:
    std::shared_ptr<ScenarioMessageExtractor> getScenarioExtractor() override {
        return std::make_shared<testing::KeyedScenarios>();
    }
    std::string extractLogin(Entry record) override { return record->getCharValue("login"); }
    unsigned int extractCurrentScenarioId(Entry record) override {
        return static_cast<unsigned int>(record->getIntValue("current"));
    }
    long extractSessionTime(Entry record) override { return record->getIntValue("spent"); }
    std::vector<Entry> extractScenarios(Entry record) override {
        return record->getArrayValue("scenarios");
    }
};

class RestoredClient : public ClientTest {
protected:
    std::unique_ptr<Client> restore(const std::string& text) {
        return std::make_unique<Client>(std::make_shared<JsonEntry>(text),
                                        std::make_shared<RecordExtractor>(), kMac, "10.0.0.1", 1500,
                                        owner_);
    }

    static constexpr const char* kScenarios =
        R"("scenarios": [{"type": "forbid", "id": 2, "name": "2"},
                         {"type": "allow", "id": 3, "name": "3", "session": 100}]})";
};

TEST_F(RestoredClient, GoesOnWhereItWas) {
    const auto client =
        restore(R"({"login": "anna", "current": 3, "spent": 90, )" + std::string(kScenarios));
    EXPECT_EQ(client->getLogin(), "anna");
    EXPECT_TRUE(client->isAuthorized());
    EXPECT_TRUE(client->isAccessOpen());
    clock_.advanceSeconds(10);
    EXPECT_FALSE(client->checkScenarioExpire());
    clock_.advanceSeconds(1);
    EXPECT_TRUE(client->checkScenarioExpire());
}

TEST_F(RestoredClient, BeginsAtTheFirstScenarioWhenItsOwnIsUnknown) {
    const auto client =
        restore(R"({"login": "", "current": 9, "spent": 5, )" + std::string(kScenarios));
    EXPECT_EQ(client->get_current_scenario()->getId(), 2U);
    EXPECT_TRUE(client->isAuthorized());
}

TEST_F(RestoredClient, IsNotMadeFromAnIncompleteRecord) {
    for (const char* const start :
         {R"({"current": 3, "spent": 0, )", R"({"login": "a", "spent": 0, )",
          R"({"login": "a", "current": 3, )"}) {
        EXPECT_THROW(restore(std::string(start) + kScenarios), ENTRY_EXCEPTION_TYPE) << start;
    }
    EXPECT_THROW(restore(R"({"login": "a", "current": 3, "spent": 0, "scenarios": []})"),
                 ENTRY_EXCEPTION_TYPE);
}

}  // namespace
}  // namespace vesta
