// Who counts as there, and what a restart leaves of it.

#include "monitord/stations.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <set>

#include "monitord/answer.h"
#include "monitord/station_file.h"
#include "platform/support.h"

namespace monitord {
namespace {

using Extent = CounterSample::Extent;

constexpr Time kSecond = 1000;
constexpr Time kStart = 1000 * kSecond;
constexpr Time kGoneAfter = 60 * kSecond;
const StationKey kAnna("wlan0", {2, 0, 0, 0, 0, 1});
const StationKey kBob("wlan0", {2, 0, 0, 0, 0, 2});

class StationsTest : public ::testing::Test {
protected:
    // The counters of both directions, `seconds` after the start.
    void count(Time seconds, const std::vector<StationKey>& counted, std::uint64_t packets,
               Extent extent = Extent::all) {
        CounterSample sample;
        sample.extent = extent;
        for (const StationKey& station : counted) {
            sample.up.push_back({station, {{packets * 100, packets}, packets}});
            sample.down.push_back({station, {{packets * 200, packets}, packets}});
        }
        stations.takeCounters(sample, kStart + seconds * kSecond);
    }
    // "02:...:01 12" for each who is there: the MAC's end and how long it has been there.
    std::vector<std::string> there(Time seconds) {
        const Time now = kStart + seconds * kSecond;
        stations.judge(now);
        std::vector<std::string> found;
        const auto answer = nlohmann::json::parse(statisticsAnswer(stations, "7", now).at(0));
        EXPECT_EQ(answer["context"], 7);
        for (const auto& one : answer["value"]) {
            found.push_back(one["hw-addr"].get<std::string>().substr(15) + " " +
                            std::to_string(one["uptime"].get<int>()));
        }
        std::sort(found.begin(), found.end());
        return found;
    }

    using List = std::vector<std::string>;
    Stations stations{kGoneAfter};
};

TEST_F(StationsTest, AStationIsThereAsLongAsSomethingProvesIt) {
    count(0, {kAnna, kBob}, 1);
    EXPECT_EQ(there(0), (List{"01 0", "02 0"}));
    count(50, {kAnna, kBob}, 1);
    stations.takeProof(kAnna, kStart + 45 * kSecond, kStart + 50 * kSecond);
    EXPECT_FALSE(stations.isSilent(kAnna, kStart + 50 * kSecond));
    EXPECT_TRUE(stations.isSilent(kBob, kStart + 50 * kSecond));
    EXPECT_EQ(there(61), (List{"01 61"})) << "nobody has heard of Bob";
    count(106, {kAnna, kBob}, 2);
    EXPECT_EQ(there(107), (List{"01 107", "02 1"})) << "Bob came again, Anna was never away";
}

TEST_F(StationsTest, WhatIsSentToAStationDoesNotProveIt) {
    count(0, {kAnna}, 1);
    CounterSample sample;
    sample.extent = Extent::all;
    sample.up.push_back({kAnna, {{100, 1}, 1}});
    sample.down.push_back({kAnna, {{90000, 900}, 900}});
    stations.takeCounters(sample, kStart + 59 * kSecond);
    EXPECT_EQ(there(60), List{});
}

TEST_F(StationsTest, OnlyAWholeSampleEndsAStation) {
    count(0, {kAnna, kBob}, 1);
    EXPECT_EQ(there(0).size(), 2U);
    count(1, {kAnna}, 2, Extent::some);
    count(2, {}, 0, Extent::none);
    count(3, {}, 0, Extent::noTable);
    EXPECT_EQ(there(3), (List{"01 3", "02 3"}));
    count(4, {kAnna}, 3);
    EXPECT_EQ(there(4), (List{"01 4"}));
    EXPECT_EQ(stations.count(), 1U);
    count(9, {kAnna, kBob}, 1);
    EXPECT_EQ(there(10), (List{"01 1", "02 1"})) << "counters that begin anew: a new connection";
}

TEST_F(StationsTest, RulesThatAreMadeAnewEndNobodyWhoIsToldInTime) {
    count(0, {kAnna, kBob}, 5);
    EXPECT_EQ(there(0).size(), 2U);
    count(1, {}, 0);
    count(2, {kAnna}, 6);
    EXPECT_EQ(there(10), (List{"01 8", "02 10"}));
    count(11, {kAnna}, 6);
    EXPECT_EQ(there(11), (List{"01 9"}));
}

TEST_F(StationsTest, ARadioDecidesButANewCounterIsThereAtOnce) {
    stations.setRadio("wlan0", RadioList{{kAnna.mac, kStart - 100 * kSecond}});
    count(0, {kAnna, kBob}, 1);
    EXPECT_EQ(there(1), (List{"01 101", "02 1"})) << "hostapd may not have told of Bob yet";
    EXPECT_EQ(there(2), (List{"01 102"}));
    EXPECT_EQ(there(2000), (List{"01 2100"})) << "asleep, but associated";
    stations.setRadio("wlan0", RadioList{{kBob.mac, kStart + 2000 * kSecond}});
    EXPECT_EQ(there(2001), (List{"02 1"}));
    stations.setRadio("wlan0", std::nullopt);
    EXPECT_EQ(there(2060), (List{"02 60"}));
    EXPECT_EQ(there(2061), List{});
}

TEST_F(StationsTest, WithoutCountersNeighboursTellWhoIsThere) {
    count(0, {}, 0, Extent::noTable);
    stations.takeProof(kAnna, kStart, kStart);
    stations.takeProof(kBob, kStart - 2 * kGoneAfter, kStart);
    EXPECT_EQ(there(1), (List{"01 1"}));
    EXPECT_EQ(there(60), List{});
    EXPECT_EQ(stations.count(), 0U);
    count(70, {}, 0);
    stations.takeProof(kBob, kStart + 70 * kSecond, kStart + 70 * kSecond);
    EXPECT_EQ(there(70), List{}) << "whoever counts knows better";
}

TEST_F(StationsTest, ARestartMakesNobodyNewAndNobodyGone) {
    const ostrel::testing::TempDirectory directory;
    StationFile file(directory.path("stations"));
    count(0, {kAnna, kBob}, 5);
    EXPECT_EQ(there(10).size(), 2U);
    file.save(stations);

    stations = Stations(kGoneAfter);
    file.load(stations, kStart + 200 * kSecond);
    count(200, {kAnna, kBob}, 5);
    stations.takeProof(kAnna, kStart + 200 * kSecond, kStart + 200 * kSecond);
    EXPECT_EQ(there(200), (List{"01 200", "02 200"}));
    EXPECT_TRUE(stations.isSilent(kBob, kStart + 200 * kSecond)) << "Bob is to be asked first";
    EXPECT_EQ(there(231), (List{"01 231"}));

    ostrel::testing::writeFile(directory.path("stations"),
                               ostrel::testing::readFile(directory.path("stations")) + "rubbish\n");
    stations = Stations(kGoneAfter);
    file.load(stations, kStart + 200 * kSecond);
    EXPECT_EQ(stations.count(), 2U) << "what came before the damage counts";
    ostrel::testing::writeFile(directory.path("stations"), "monitord 1 another start\n");
    stations = Stations(kGoneAfter);
    file.load(stations, kStart);
    EXPECT_EQ(stations.count(), 0U);
}

TEST_F(StationsTest, TheAnswerOfTheMostStationsFitsIntoOneFrame) {
    constexpr std::size_t kFrame = 16U << 20;
    const Traffic most{~std::uint64_t{0}, ~std::uint64_t{0}};
    CounterSample sample;
    sample.extent = Extent::all;
    for (std::size_t i = 0; i <= Stations::kMost; ++i) {
        const Mac mac{2,
                      0,
                      0,
                      static_cast<std::uint8_t>(i >> 16),
                      static_cast<std::uint8_t>(i >> 8),
                      static_cast<std::uint8_t>(i)};
        sample.up.push_back({StationKey("wlan0-abcdefghi", mac), {most, most.packets}});
        sample.down.push_back(sample.up.back());
    }
    stations.takeCounters(sample, kStart);
    stations.judge(kStart);
    EXPECT_EQ(stations.count(), Stations::kMost);
    const std::vector<std::string> frames =
        statisticsAnswer(stations, "2147483647", kStart + INT64_C(3153600000) * 1000);
    std::set<std::string> told;
    for (const std::string& frame : frames) {
        EXPECT_LT(frame.size(), kFrame);
        const auto answer = nlohmann::json::parse(frame);
        EXPECT_EQ(answer["context"], 2147483647);
        EXPECT_EQ(answer.value("more", false), frame != frames.back());
        for (const auto& station : answer["value"]) {
            EXPECT_TRUE(told.insert(station["hw-addr"]).second);
        }
    }
    EXPECT_EQ(told.size(), Stations::kMost);
}

}  // namespace
}  // namespace monitord
