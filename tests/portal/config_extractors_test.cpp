// What is read from the configuration, and what becomes of what is missing in it.

#include <gtest/gtest.h>

#include "core/json_entry.h"
#include "messages/scenario_message_extractor.h"
#include "support/radius_instance.h"

namespace vesta {
namespace {

class ConfigExtractors : public ::testing::Test {
protected:
    ConfigExtractors() {
        store->addWhiteList(std::make_shared<WhiteAddressesList>("free", "10.0.0.0/8"));
    }

    static std::shared_ptr<MessageEntry> entry(const char* text) {
        return std::make_shared<JsonEntry>(text);
    }

    std::shared_ptr<testing::SilentStore> store = std::make_shared<testing::SilentStore>();
    ConfigInstanceMessageExtractor extractor{store, "hall", "wlan0-va1"};
};

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
