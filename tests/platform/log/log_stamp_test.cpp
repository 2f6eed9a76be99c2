#include "log/log_stamp.h"

#include <gtest/gtest.h>

#include <string>

namespace ostrel::log {
namespace {

TEST(LogStamp, CountsTheCalendarInAnyZoneAndCutsTimeDownToMilliseconds) {
    const struct {
        std::int64_t seconds;
        std::int32_t zone;
        const char* expected;
        std::int64_t microseconds = 0;
    } cases[] = {
        {0, 0, "1970-01-01 00:00:00.000 +0000"},
        {0, -3600, "1969-12-31 23:00:00.000 -0100"},
        {-1, 0, "1969-12-31 23:59:59.999 +0000", 999999},
        {42, 0, "1970-01-01 00:00:42.001 +0000", 1999},
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
        char out[kStampCapacity];
        const std::size_t length = formatStamp(
            {one.seconds * 1000000 + one.microseconds, one.zone, "vestad", 123}, out, sizeof out);
        EXPECT_EQ(std::string(out, length), std::string(one.expected) + " vestad[123]: ");
    }
}

}  // namespace
}  // namespace ostrel::log
