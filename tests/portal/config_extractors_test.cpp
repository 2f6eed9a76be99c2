// What is read from the configuration, and what becomes of what is missing in it.

#include <gtest/gtest.h>

#include "core/json_entry.h"
#include "portal/config_instance_message_extractor.h"
#include "portal/config_scenario_message_extractor.h"
#include "whitelist/white_lists_store.h"

namespace vesta {
namespace {

class Store final : public WhiteListsStore {
    void whiteListAddingReaction(std::shared_ptr<WhiteAddressesList>) override {}
    void whiteListsClearReaction() override {}
};

class ConfigExtractors : public ::testing::Test {
protected:
    ConfigExtractors() {
        store->addWhiteList(std::make_shared<WhiteAddressesList>("free", "10.0.0.0/8"));
    }

    static std::shared_ptr<MessageEntry> entry(const char* text) {
        return std::make_shared<JsonEntry>(text);
    }

    std::shared_ptr<Store> store = std::make_shared<Store>();
    ConfigInstanceMessageExtractor extractor{store, "hall", "wlan0-va1"};
};

TEST_F(ConfigExtractors, ReadAnInstance) {
    const auto vap = entry(R"({"ssid": "Guest", "captive-portal": {"enabled": "TRUE",
        "age-timeout": "300", "verification-mode": "portal", "default-white-list": "free",
        "acct-enable": false, "scenarios": [{"name": "a"}, {"name": "b"}]},
        "radius": {"domain": "hall.example"}})");
    EXPECT_EQ(extractor.extractSsid(vap), "Guest");
    EXPECT_EQ(extractor.extractMobilityDomain(vap), "hall");
    EXPECT_EQ(extractor.extractVereficationMode(vap), "portal");
    EXPECT_EQ(extractor.extractRadiusDomain(vap), "hall.example");
    EXPECT_EQ(extractor.extractWhiteIpListId(vap),
              std::make_pair(std::string("free"), store->getWhiteListHash("free")));
    EXPECT_TRUE(extractor.extractInstanceEnabled(vap));
    EXPECT_FALSE(extractor.extractRadiusAccounting(vap));
    EXPECT_EQ(extractor.extractAgeTimeout(vap), 300);
    EXPECT_EQ(extractor.extractScenarios(vap).size(), 2U);
    EXPECT_NE(extractor.extractRadiusConfig(vap), nullptr);
}

TEST_F(ConfigExtractors, AnswerNeutrallyForAVapWithoutTheObjects) {
    const auto vap = entry(R"({"ssid": "Guest"})");
    EXPECT_EQ(extractor.extractVereficationMode(vap), "");
    EXPECT_EQ(extractor.extractRadiusDomain(vap), "");
    EXPECT_EQ(extractor.extractWhiteIpListId(vap), std::make_pair(std::string(), std::string()));
    EXPECT_FALSE(extractor.extractInstanceEnabled(vap));
    EXPECT_FALSE(extractor.extractRadiusAccounting(vap));
    EXPECT_EQ(extractor.extractAgeTimeout(vap), -1);
    EXPECT_EQ(extractor.extractRadiusConfig(vap), nullptr);
    EXPECT_TRUE(extractor.extractScenarios(vap).empty());
}

TEST_F(ConfigExtractors, DoNotMixUpTwoVaps) {
    const auto first = entry(R"({"captive-portal": {"age-timeout": 1}})");
    const auto second = entry(R"({"captive-portal": {"age-timeout": 2}})");
    EXPECT_EQ(extractor.extractAgeTimeout(first), 1);
    EXPECT_EQ(extractor.extractAgeTimeout(second), 2);
    EXPECT_EQ(extractor.extractAgeTimeout(entry("{}")), -1);
    EXPECT_EQ(extractor.extractAgeTimeout(first), 1);
}

TEST_F(ConfigExtractors, ThrowForAKeyThatIsMissingInsideAnObject) {
    const auto vap = entry(R"({"captive-portal": {"age-timeout": []}, "radius": {}})");
    EXPECT_THROW(extractor.extractSsid(vap), ENTRY_EXCEPTION_TYPE);
    EXPECT_THROW(extractor.extractVereficationMode(vap), ENTRY_EXCEPTION_TYPE);
    EXPECT_THROW(extractor.extractRadiusDomain(vap), ENTRY_EXCEPTION_TYPE);
    EXPECT_THROW(extractor.extractWhiteIpListId(vap), ENTRY_EXCEPTION_TYPE);
    EXPECT_THROW(extractor.extractInstanceEnabled(vap), ENTRY_EXCEPTION_TYPE);
    EXPECT_THROW(extractor.extractRadiusAccounting(vap), ENTRY_EXCEPTION_TYPE);
    EXPECT_THROW(extractor.extractAgeTimeout(vap), ENTRY_EXCEPTION_TYPE);
    EXPECT_THROW(extractor.extractScenarios(vap), ENTRY_EXCEPTION_TYPE);
}

TEST_F(ConfigExtractors, CountScenarioIdsFromZeroForEachList) {
    for (int list = 0; list < 2; ++list) {
        const auto scenarios = extractor.getScenarioExtractor();
        EXPECT_EQ(scenarios->extractID(nullptr), 0U);
        EXPECT_EQ(scenarios->extractID(nullptr), 1U);
    }
}

TEST_F(ConfigExtractors, PairAScenariosListWithItsHash) {
    const auto scenarios = extractor.getScenarioExtractor();
    const std::string hash = store->getWhiteListHash("free");
    using Pair = std::pair<std::string, std::string>;
    EXPECT_EQ(scenarios->extractWhiteListId(entry(R"({"white-list": "free"})")),
              Pair("free", hash));
    EXPECT_EQ(scenarios->extractWhiteListId(entry(R"({"white-list": "none"})")), Pair("none", ""));
    EXPECT_EQ(scenarios->extractWhiteListId(entry(R"({"white-list": ""})")), Pair("", ""));
}

}  // namespace
}  // namespace vesta
