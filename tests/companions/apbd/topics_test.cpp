#include "apbd/topics.h"

#include <gtest/gtest.h>

namespace apbd {
namespace {

TEST(TopicsTest, EveryTextIsOneLevelAndComesBack) {
    const std::pair<std::string, std::string> cases[] = {
        {"Guest", "Guest"},
        {"", ""},
        {"a/b+c#d", "a%2Fb%2Bc%23d"},
        {"50%", "50%25"},
        {std::string("nul\0l", 5), "nul%00l"},
        {"caf\xc3\xa9", "caf%C3%A9"},
        {"two words\x7f", "two words%7F"},
    };
    for (const auto& [text, level] : cases) {
        EXPECT_EQ(encodeLevel(text), level);
        EXPECT_EQ(decodeLevel(level), text);
    }
    for (const char* const level : {"%", "%2", "a%2", "%zz", "%-1"}) {
        EXPECT_FALSE(decodeLevel(level)) << level;
    }
}

TEST(TopicsTest, ARecordsTopicIsReadBack) {
    const Topics topics("site/vestad");
    const Key key{{"ha/ll", "Gu+est"}, "02:00:00:00:00:0a"};
    EXPECT_EQ(topics.record(key), "site/vestad/ha%2Fll/Gu%2Best/02:00:00:00:00:0a");
    const auto place = topics.place(topics.record(key));
    ASSERT_TRUE(place);
    EXPECT_EQ(place->scope, key.scope);
    EXPECT_EQ(place->mac, key.mac);
}

TEST(TopicsTest, WhiteListsStandBesideTheRecords) {
    const Topics topics("vestad");
    EXPECT_FALSE(topics.place("vestad/hall/Guest/permitted-ip")->isFurtherList);
    EXPECT_TRUE(topics.place("vestad/hall/Guest/permitted-ip/free")->isFurtherList);
    for (const char* const topic :
         {"vestad/hall/Guest", "vestad/hall", "other/hall/Guest/m", "vestad/marker/x",
          "vestad/hall/Guest/m/x", "vestad/a/b/c/d/e", "vestad/hall/Guest/%"}) {
        EXPECT_FALSE(topics.place(topic)) << topic;
    }
}

TEST(TopicsTest, ARootThatTheBrokerCouldNotCarryIsRefused) {
    for (const char* const root : {"", "$SYS", "/a", "a/", "a//b", "a/+", "#", "caf\xc3\xa9"}) {
        EXPECT_NE(wrongRoot(root), "") << root;
    }
    EXPECT_EQ(wrongRoot("site 1/vestad"), "");
}

}  // namespace
}  // namespace apbd
