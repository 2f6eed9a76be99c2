#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "core/json_entry.h"
#include "ipc/proxy_dialect.h"
#include "whitelist/white_lists_store.h"

namespace vesta {
namespace {

class KeepingStore final : public WhiteListsStore {
public:
    void whiteListAddingReaction(std::shared_ptr<WhiteAddressesList> list) override {
        added.push_back(list->getName());
    }
    void whiteListsClearReaction() override {}

    std::vector<std::string> added;
};

constexpr const char* kValues = "10.0.0.0/8,#help desk";
constexpr const char* kValuesHash = "bbeee2fb380304741d55014a8dd9af0d";
constexpr const char* kUnknownHash = "0123456789abcdef0123456789ABCDEF";

class TinyproxyExtractorTest : public testing::Test {
protected:
    std::pair<std::string, std::string> extract(const std::string& permitted) {
        auto entry = std::make_shared<JsonEntry>("{}");
        entry->insertStringValue("permitted-ip", permitted.c_str());
        return extractor_.extractWhiteListId(entry);
    }

    std::shared_ptr<KeepingStore> store_ = std::make_shared<KeepingStore>();
    TinyproxyScenarioMessageExtractor extractor_{store_};
};

using Pair = std::pair<std::string, std::string>;

TEST_F(TinyproxyExtractorTest, ResolvesAHashToTheNameOfTheStoredList) {
    store_->addWhiteList(std::make_shared<WhiteAddressesList>("free", kValues));
    EXPECT_EQ(extract(kValuesHash), Pair("free", kValuesHash));
    EXPECT_EQ(extract(kUnknownHash), Pair(kUnknownHash, kUnknownHash));
    EXPECT_EQ(store_->added, std::vector<std::string>{"free"});
}

TEST_F(TinyproxyExtractorTest, PutsAListGivenByItsValuesIntoTheStore) {
    EXPECT_EQ(extract(kValues), Pair(kValuesHash, kValues));
    // One digit less or a stranger among the digits is no hash.
    const std::string tooShort(31, 'a');
    const std::string almost = std::string(31, 'a') + "g";
    EXPECT_EQ(extract(tooShort).second, tooShort);
    EXPECT_EQ(extract(almost).second, almost);
    EXPECT_EQ(store_->added.size(), 3U);
    EXPECT_EQ(store_->added.front(), kValuesHash);
}

TEST_F(TinyproxyExtractorTest, TakesAnEmptyTextForNoListAndThrowsWithoutTheKey) {
    EXPECT_EQ(extract(""), Pair("", ""));
    EXPECT_TRUE(store_->added.empty());
    EXPECT_THROW(extractor_.extractWhiteListId(std::make_shared<JsonEntry>("{}")),
                 ENTRY_EXCEPTION_TYPE);
}

TEST_F(TinyproxyExtractorTest, ReadsTheProxysNamesOfTheLimits) {
    const auto entry = std::make_shared<JsonEntry>(
        R"({"access-type": "allow", "name": "guest", "redirect-url": "http://p/",
            "time_limit": 1, "transmit-maximum-speed": "2", "receive-maximum-speed": 3,
            "traffic-limit": 4, "session_timeout": 5, "away-timeout": 6,
            "time-limit": 91, "session-timeout": 92})");
    EXPECT_EQ(extractor_.extractAccessType(entry), "allow");
    EXPECT_EQ(extractor_.extractName(entry), "guest");
    EXPECT_EQ(extractor_.extractRedirectUrl(entry), "http://p/");
    EXPECT_EQ(extractor_.extractExpireTime(entry), 1);
    EXPECT_EQ(extractor_.extractTxMaxSpeed(entry), 2U);
    EXPECT_EQ(extractor_.extractRxMaxSpeed(entry), 3U);
    EXPECT_EQ(extractor_.extractTrafficLimit(entry), 4);
    EXPECT_EQ(extractor_.extractMaxSessionTime(entry), 5);
    EXPECT_EQ(extractor_.extractAwayTimeout(entry), 6);
}

}  // namespace
}  // namespace vesta
