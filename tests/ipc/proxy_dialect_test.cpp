#include "ipc/proxy_dialect.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "core/json_entry.h"
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

// The keys are seen in the examples of docs/bus.md.
TEST(TinyproxyScenarioMessageExtractor, ResolvesAWhiteListByItsHashAndStoresOneGivenByItsValues) {
    const std::string values = "10.0.0.0/8,#help desk";
    const std::string hash = "bbeee2fb380304741d55014a8dd9af0d";
    const std::string unknownHash = "0123456789abcdef0123456789ABCDEF";
    // One digit less or a stranger among the digits is no hash.
    const std::string tooShort(31, 'a');
    const std::string almost = tooShort + "g";

    auto store = std::make_shared<KeepingStore>();
    const auto extract = [&](const std::string& permitted) {
        const auto entry = std::make_shared<JsonEntry>("{}");
        entry->insertStringValue("permitted-ip", permitted.c_str());
        return TinyproxyScenarioMessageExtractor(store).extractWhiteListId(entry);
    };
    EXPECT_EQ(extract(values), std::pair(hash, values));
    EXPECT_EQ(extract(tooShort).second, tooShort);
    EXPECT_EQ(extract(almost).second, almost);
    EXPECT_EQ(store->added.size(), 3U);
    store = std::make_shared<KeepingStore>();
    store->addWhiteList(std::make_shared<WhiteAddressesList>("free", values));
    EXPECT_EQ(extract(hash), std::pair(std::string("free"), hash));
    EXPECT_EQ(extract(unknownHash), std::pair(unknownHash, unknownHash));
    EXPECT_EQ(extract(""), std::pair(std::string(), std::string()));
    EXPECT_EQ(store->added.size(), 1U);
    EXPECT_THROW(TinyproxyScenarioMessageExtractor(store).extractWhiteListId(
                     std::make_shared<JsonEntry>("{}")),
                 ENTRY_EXCEPTION_TYPE);
}

}  // namespace
}  // namespace vesta
