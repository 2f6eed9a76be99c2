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
class WhiteListStores : public ::testing::Test {
protected:
    Store store_;
};

using Stores =
    ::testing::Types<RecordingStore<WhiteListsStore>, RecordingStore<WhiteListsHashOnlyStore>>;
TYPED_TEST_SUITE(WhiteListStores, Stores, );

TYPED_TEST(WhiteListStores, AListUnderAKnownNameChangesNothing) {
    std::vector<std::shared_ptr<WhiteAddressesList>> lists{list("a", "1.2.3.4"), list("b", "x"),
                                                           list("a", "5.6.7.8")};
    this->store_.addWhiteLists(lists);
    EXPECT_EQ(this->store_.reactions, (std::vector<std::string>{"+a", "+b"}));
    EXPECT_EQ(this->store_.getWhiteListHash("a"), lists[0]->getHash());
}

TYPED_TEST(WhiteListStores, ClearingReactsAlsoWhenEmptyAndLetsNamesBeUsedAgain) {
    this->store_.clearWhiteLists();
    this->store_.addWhiteList(list("a", "x"));
    this->store_.clearWhiteLists();
    this->store_.addWhiteList(list("a", "y"));
    EXPECT_EQ(this->store_.reactions, (std::vector<std::string>{"clear", "+a", "clear", "+a"}));
    EXPECT_EQ(this->store_.getWhiteListHash("a"), list("", "y")->getHash());
}

TYPED_TEST(WhiteListStores, FindTheNameOfAHash) {
    this->store_.addWhiteList(list("b", "x"));
    this->store_.addWhiteList(list("c", "y"));
    this->store_.addWhiteList(list("a", "x"));
    EXPECT_EQ(this->store_.getWhiteListNameByHash(list("", "x")->getHash()), "a");
    EXPECT_EQ(this->store_.getWhiteListNameByHash(list("", "y")->getHash()), "c");
    EXPECT_EQ(this->store_.getWhiteListNameByHash(list("", "z")->getHash()), "");
    EXPECT_EQ(this->store_.getWhiteListNameByHash(""), "");
}

TEST(WhiteListsStore, GivesOutTheListsThatTheHashOnlyStoreDoesNotKeep) {
    RecordingStore<WhiteListsStore> full;
    RecordingStore<WhiteListsHashOnlyStore> hashes;
    const auto kept = list("a", "x");
    full.addWhiteList(kept);
    hashes.addWhiteList(kept);
    EXPECT_EQ(full.getWhiteList("a"), kept);
    EXPECT_EQ(full.getWhiteList("b"), nullptr);
    EXPECT_EQ(hashes.getWhiteList("a"), nullptr);
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
