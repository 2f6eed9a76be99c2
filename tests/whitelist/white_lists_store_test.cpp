#include "whitelist/white_lists_store.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "whitelist/permitted_ip.h"

namespace vesta {
namespace {

std::shared_ptr<WhiteAddressesList> list(const std::string& name, const std::string& values) {
    return std::make_shared<WhiteAddressesList>(name, values);
}

// A store that writes down its reactions, and asks itself in them, as a lock that is still held
// would not survive.
template <class Base>
class RecordingStore final : public Base {
public:
    void whiteListAddingReaction(std::shared_ptr<WhiteAddressesList> added) override {
        EXPECT_EQ(this->getWhiteListHash(added->getName()), added->getHash());
        reactions.push_back("+" + added->getName());
    }
    void whiteListsClearReaction() override {
        EXPECT_EQ(this->getWhiteListHash("a"), "");
        reactions.emplace_back("clear");
    }

    std::vector<std::string> reactions;
};

template <class Store>
class WhiteListStores : public ::testing::Test {};
using Stores =
    ::testing::Types<RecordingStore<WhiteListsStore>, RecordingStore<WhiteListsHashOnlyStore>>;
TYPED_TEST_SUITE(WhiteListStores, Stores, );

TYPED_TEST(WhiteListStores, KeepListsByTheirNamesUntilTheyAreCleared) {
    TypeParam store;
    store.clearWhiteLists();
    std::vector<std::shared_ptr<WhiteAddressesList>> lists{list("c", "x"), list("a", "x"),
                                                           list("b", "y"), list("a", "z")};
    store.addWhiteLists(lists);
    EXPECT_EQ(store.getWhiteListHash("a"), lists[1]->getHash()) << "a known name changes nothing";
    EXPECT_EQ(store.getWhiteListNameByHash(lists[0]->getHash()), "a");
    EXPECT_EQ(store.getWhiteListNameByHash(lists[2]->getHash()), "b");
    EXPECT_EQ(store.getWhiteListNameByHash(lists[3]->getHash()), "");
    EXPECT_EQ(store.getWhiteListNameByHash(""), "");
    const bool keepsContent = std::is_base_of_v<WhiteListsStore, TypeParam>;
    EXPECT_EQ(store.getWhiteList("b"), keepsContent ? lists[2] : nullptr);
    EXPECT_EQ(store.getWhiteList("d"), nullptr);
    store.clearWhiteLists();
    store.addWhiteList(lists[3]);
    EXPECT_EQ(store.getWhiteListHash("a"), lists[3]->getHash());
    EXPECT_EQ(store.reactions,
              (std::vector<std::string>{"clear", "+c", "+a", "+b", "clear", "+a"}));
}

TEST(PermittedIp, IsResolvedByItsHashOrStoredWithItsValues) {
    RecordingStore<WhiteListsStore> store;
    const std::string hash = list("", "1.2.3.4")->getHash();
    const std::string unknownHash = "0123456789abcdef0123456789ABCDEF";
    // One digit less or a stranger among the digits is no hash.
    const std::string tooShort(31, 'a');
    const std::string almost = tooShort + "g";
    for (const std::string& text : {std::string("10.0.0.0/8,#help desk"), tooShort, almost}) {
        EXPECT_EQ(resolvePermittedIp(store, text), std::pair(list("", text)->getHash(), text));
    }
    EXPECT_EQ(store.reactions.size(), 3U);
    store.addWhiteList(list("free", "1.2.3.4"));
    EXPECT_EQ(resolvePermittedIp(store, hash), std::pair(std::string("free"), hash));
    EXPECT_EQ(resolvePermittedIp(store, unknownHash), std::pair(unknownHash, unknownHash));
    EXPECT_EQ(resolvePermittedIp(store, ""), std::pair(std::string(), std::string()));
    EXPECT_EQ(store.reactions.size(), 4U);
}

}  // namespace
}  // namespace vesta
