#include "core/logger.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "core/quoted.h"
#include "core/temporary_log.h"
#include "ostrel/runtime.h"
#include "support/fake_clock.h"

namespace vesta {
namespace {

using Records = TemporaryLog::Records;

TEST(Logger, EveryBitEnablesItsOwnLevelAlone) {
    EXPECT_EQ(Logger().getLogLevel(), 0) << "silent until it is configured";
    const std::string error = "|ERROR|e 1";
    const std::string warning = "|WARNING|w 2";
    const std::string debug = "|DEBUG|d 3";
    const Records expected[] = {{},      {error},        {warning},        {error, warning},
                                {debug}, {error, debug}, {warning, debug}, {error, warning, debug}};
    for (int level = 0; level < 8; ++level) {
        const TemporaryLog log(level | 64);
        logger().Error("e %d\n", 1);
        logger().Warning("w %d\n", 2);
        logger().Debug("d %d\n", 3);
        EXPECT_EQ(log.records(), expected[level]) << level;
    }
}

TEST(Logger, TakesTheReportsOfThePlatformUntilThereIsNoFileName) {
    const TemporaryLog log(7);
    ostrel::report(ostrel::LogLevel::error, "%s", "100%n");
    ostrel::report(ostrel::LogLevel::warning, "b");
    ostrel::report(ostrel::LogLevel::debug, "c");
    TemporaryLog::configure("", 7);
    logger().Error("gone\n");
    EXPECT_EQ(log.records(), (Records{"|ERROR|100%n", "|WARNING|b", "|DEBUG|c"}));
}

TEST(Logger, CountsWhatIsRepeatedTooOften) {
    testing::FakeClock clock;
    const TemporaryLog log(7);
    for (int i = 0; i < 30; ++i) {
        logger().Warning("peer %d fails\n", i);
        logger().Debug("own\n");
        ostrel::report(ostrel::LogLevel::debug, "stranger %d", i);
    }
    EXPECT_EQ(log.records().size(), 20U + 30U + 20U);
    clock.advanceSeconds(10);
    ostrel::reportLeftOut();
    logger().Warning("peer %d fails\n", 30);
    const Records all = log.records();
    ASSERT_EQ(all.size(), 73U);
    std::set<std::string> leftOut(all.end() - 3, all.end() - 1);
    EXPECT_EQ(leftOut, (std::set<std::string>{
                           "|WARNING|10 more records like \"peer %d fails\" were left out",
                           "|WARNING|10 more records like \"stranger %d\" were left out"}));
    EXPECT_EQ(all.back(), "|WARNING|peer 30 fails");
}

TEST(Quoted, HidesPasswordsAndIsShort) {
    const std::string longText(300, 'x');
    const std::pair<std::string, std::string> rows[] = {
        {R"({"login": "anna", "password" : "se\"cret", "x": 1})",
         R"({"login": "anna", "password":"***", "x": 1})"},
        {R"({"auth-password":1234,"a":"password","acct-password":null})",
         R"({"auth-password":"***","a":"password","acct-password":"***"})"},
        {"{\"password\": \"cut", "{\"password\":\"***\""},
        {"a\nb\x1b[0m", "a b [0m"},
        {longText, longText.substr(0, 200) + "..."},
        {longText.substr(0, 199) + "\xc3\xa4", longText.substr(0, 199) + "..."},
        {"\"", "\""},
        {"", ""},
    };
    for (const auto& [text, expected] : rows) {
        EXPECT_EQ(quotedForLog(text), expected);
    }
}

TEST(Logger, RecordsOfTwoThreadsDoNotMix) {
    const TemporaryLog log(7);
    constexpr int kRecords = 500;
    const auto work = [] {
        for (int i = 0; i < kRecords; ++i) {
            logger().Debug("%s\n", "whole record");
        }
    };
    std::thread other(work);
    work();
    other.join();
    EXPECT_EQ(log.records(), Records(2 * kRecords, "|DEBUG|whole record"));
}

}  // namespace
}  // namespace vesta
