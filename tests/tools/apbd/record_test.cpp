#include "apbd/record.h"

#include <gtest/gtest.h>

#include "support/fake_clock.h"
#include "tools/apbd/fakes.h"

namespace apbd {
namespace {

constexpr const char* kMac = "02:00:00:00:00:0a";
constexpr std::int64_t kNow = 1700000000;
const Key kKey{{"hall", "Guest"}, kMac};

std::string publication(const Json& changes) {
    Json object = {{"action", "add"}, {"time", kNow - 30}, {"ap-mac", ""},
                   {"instance", "x"}, {"number", 1},       {"user", userOf(kMac)}};
    object.update(changes);
    return object.dump();
}

TEST(RecordTest, IsFoundUnderItsStationOnly) {
    Json other = userOf(kMac);
    other["ssid"] = "Staff";
    const Json bad[] = {{{"user", other}},          {{"user", "text"}}, {{"action", "drop"}},
                        {{"instance", ""}},         {{"instance", 4}},  {{"user", Json::array()}},
                        {{"user", userOf("02:0x")}}};
    EXPECT_TRUE(decode(kKey, publication(Json::object())));
    for (const Json& changes : bad) {
        EXPECT_FALSE(decode(kKey, publication(changes))) << changes;
    }
    EXPECT_FALSE(decode(kKey, ""));
    EXPECT_FALSE(decode(kKey, "[1"));
}

TEST(RecordTest, KeysDoNotDependOnTheCaseOfTheMac) {
    EXPECT_EQ(keyOf(userOf("02:00:00:00:00:0A"))->mac, kMac);
}

struct Aging {
    const char* what;
    std::int64_t publishedAt;
    std::int64_t ours;
    std::int64_t before;
    std::int64_t expected;
};

TEST(RecordTest, HandsOutASessionThatWentOnSinceItsPublication) {
    const Aging cases[] = {
        {"thirty seconds ago, then five here", kNow - 30, kNow, 100, 135},
        {"a publisher whose clock is ahead", kNow + 30, kNow, 100, 105},
        {"a publisher whose clock was never set", 4000, kNow, 100, 105},
        {"our own clock was never set", kNow - 30, 4000, 100, 105},
        {"the reader's number is full", kNow - 30, kNow, 2147483640, 2147483647},
    };
    for (const Aging& one : cases) {
        vesta::testing::FakeClock clock;
        clock.wall = one.ours * 1000000;
        Json user = userOf(kMac);
        user["cur-session-time"] = one.before;
        const auto record = decode(kKey, publication({{"time", one.publishedAt}, {"user", user}}));
        clock.monotonic += 5000000;
        clock.wall += 999000000;  // set meanwhile: it must not count
        EXPECT_EQ(agedUser(*record)["cur-session-time"], one.expected) << one.what;
    }
}

TEST(RecordTest, AnUpdateTakesOverWhatChangesAndKeepsTheRest) {
    Json changes = userOf(kMac);
    changes.erase("scenario");
    changes.erase("simultaneous-use");
    changes["cur-scenario-id"] = 3;
    changes["user-name"] = "mallory";
    Json expected = userOf(kMac);
    expected["cur-scenario-id"] = 3;
    EXPECT_EQ(Json::parse(mergedUser(userOf(kMac).dump(), changes)), expected);
}

}  // namespace
}  // namespace apbd
