#include "core/logger.h"

#include <gtest/gtest.h>

#include <thread>

#include "core/temporary_log.h"
#include "ostrel/runtime.h"

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
