#include "apbd/record.h"

#include "companions/apbd/fakes.h"
#include "support/fake_clock.h"

namespace apbd {
namespace {

constexpr const char* kMac = "02:00:00:00:00:0a";
constexpr std::int64_t kNow = 1700000000000;
const Key kKey{{"hall", "Guest"}, kMac};

std::string publication(const Json& changes) {
    Json object = {{"action", "add"}, {"time", kNow - 30000}, {"ap-mac", ""},
                   {"instance", "x"}, {"number", 1},          {"user", userOf(kMac)}};
    object.update(changes);
    return object.dump();
}

// A record of so many levels.
std::string nested(std::size_t levels) {
    const std::string member =
        "\"x\":" + std::string(levels - 1, '[') + std::string(levels - 1, ']');
    std::string user = userOf(kMac).dump();
    return user.insert(1, member + ',');
}

TEST(RecordTest, IsFoundUnderItsStationOnly) {
    Json other = userOf(kMac);
    other["ssid"] = "Staff";
    const Json bad[] = {{{"user", other}},
                        {{"user", "text"}},
                        {{"action", "drop"}},
                        {{"instance", ""}},
                        {{"instance", 4}},
                        {{"user", Json::array()}},
                        {{"user", userOf("02:0x")}},
                        {{"user", Json::parse(nested(16))}},
                        {{"more", std::string(64 << 10, ' ')}}};
    EXPECT_TRUE(decode(kKey, publication(Json::object())));
    for (const Json& changes : bad) {
        EXPECT_FALSE(decode(kKey, publication(changes))) << changes;
    }
    EXPECT_TRUE(decode(kKey, publication({{"user", Json::parse(nested(15))}, {"x", "[[{\"[{"}})));
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
    Json more = Json::object();
};

TEST(RecordTest, HandsOutASessionThatWentOnSinceItsPublication) {
    const Aging cases[] = {
        {"thirty seconds ago, then five here", kNow - 30000, kNow, 100, 135},
        {"milliseconds count", kNow - 250, kNow, 100, 106, {{"session-time", 100400}}},
        {"a publisher whose clock is ahead", kNow + 30000, kNow, 100, 105},
        {"a publisher whose clock was never set", 4000, kNow, 100, 105},
        {"our own clock was never set", kNow - 30000, 4000, 100, 105},
        {"the reader's number is full", kNow - 30000, kNow, 2147483640, 2147483647},
    };
    for (const Aging& one : cases) {
        vesta::testing::FakeClock clock;
        clock.wall = one.ours * 1000;
        Json user = userOf(kMac);
        user["cur-session-time"] = one.before;
        Json changes = {{"time", one.publishedAt}, {"user", user}};
        changes.update(one.more);
        const auto record = decode(kKey, publication(changes));
        clock.monotonic += 5000000;
        clock.wall += 999000000;  // set meanwhile: it must not count
        EXPECT_EQ(agedUser(*record)["cur-session-time"], one.expected) << one.what;
    }
}

// A walk of an hour with a hand-over every 7.9 s, each reported in the whole seconds of one that
// counts at the end of each second.
TEST(RecordTest, ASessionLosesNothingByBeingReportedInWholeSeconds) {
    vesta::testing::FakeClock clock;
    Record record;
    record.user = userOf(kMac).dump();
    record.receivedAt = ostrel::monotonicMilliseconds();
    const std::int64_t begin = record.receivedAt;
    while (ostrel::monotonicMilliseconds() - begin < 3600000) {
        clock.advanceMicroseconds(7900000);
        Json report = agedUser(record);
        report["cur-session-time"] = report["cur-session-time"].get<int>() - 1;
        record.sessionTime = sessionTimeAfter(record, report);
        record.receivedAt = ostrel::monotonicMilliseconds();
    }
    EXPECT_EQ(record.sessionTime, ostrel::monotonicMilliseconds() - begin);

    Json other = userOf(kMac);
    other["cur-session-time"] = 0;
    EXPECT_EQ(sessionTimeAfter(record, other), 0) << "begun anew";
    record.sessionTime = 2000;
    other["cur-scenario-id"] = 1;
    EXPECT_EQ(sessionTimeAfter(record, other), 0) << "in the next scenario";
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
