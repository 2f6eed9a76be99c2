#include "log_stamp.h"

#include <gtest/gtest.h>

#include <string>

namespace ostrel::log {
namespace {

std::string format(std::int64_t wallMicroseconds, std::int32_t zoneSeconds,
                   std::size_t capacity = kStampCapacity) {
    char out[kStampCapacity];
    return {out, formatStamp({wallMicroseconds, zoneSeconds, "vestad", 123}, out, capacity)};
}

TEST(LogStamp, CountsTheCalendarInAnyZone) {
    const struct {
        std::int64_t seconds;
        std::int32_t zone;
        const char* expected;
    } cases[] = {
        {0, 0, "1970-01-01 00:00:00.000 +0000"},
        {0, -3600, "1969-12-31 23:00:00.000 -0100"},
        {951782400, 0, "2000-02-29 00:00:00.000 +0000"},
        {951868800, 0, "2000-03-01 00:00:00.000 +0000"},
        {1709251199, 1, "2024-03-01 00:00:00.000 +0000"},
        {1735689599, 19800, "2025-01-01 05:29:59.000 +0530"},
        {1735689600, -12600, "2024-12-31 20:30:00.000 -0330"},
        {2147483648, 0, "2038-01-19 03:14:08.000 +0000"},
        {4107542400, 0, "2100-03-01 00:00:00.000 +0000"},
        {253402300800, 0, "10000-01-01 00:00:00.000 +0000"},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(format(one.seconds * 1000000, one.zone),
                  std::string(one.expected) + " vestad[123]: ");
    }
}

TEST(LogStamp, CutsTimeDownToMilliseconds) {
    EXPECT_EQ(format(42999999, 0).substr(17, 6), "42.999");
    EXPECT_EQ(format(42001999, 0).substr(17, 6), "42.001");
    EXPECT_EQ(format(-1, 0).substr(17, 6), "59.999");
}

}  // namespace
}  // namespace ostrel::log
