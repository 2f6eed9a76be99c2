#include "station/byte_count.h"

#include <gtest/gtest.h>

#include <vector>

namespace vesta {
namespace {

constexpr std::uint64_t kGiB = 1ULL << 30;

TEST(ByteCount, KeepsWhatWasUsedWhenTheCounterBeginsAnew) {
    const struct {
        std::vector<std::uint64_t> readings;
        std::uint64_t used;
    } rows[] = {
        {{}, 0},
        {{0, 0, 5000}, 0},  // a counter at zero has not begun
        {{7000, 8000, 8500}, 1500},
        {{7000, 8000, 300, 400}, 1400},
        {{7000, 8000, 0, 300}, 1300},
        {{3 * kGiB + 1, 500}, kGiB - 1 + 500},  // a wrap of 32 bits
        {{3 * kGiB, 500}, 500},
        {{3 * kGiB + 1, kGiB}, kGiB},
        {{4 * kGiB + 1, 4 * kGiB + 2, 500}, 501},  // such a driver counts further
        {{5 * kGiB, 4 * kGiB - 1, 500}, 4 * kGiB - 1 + 500},
        {{1, 5 * kGiB + 1}, 5 * kGiB},
    };
    for (const auto& row : rows) {
        ByteCount count;
        count.update(123);  // before the start
        count.start();
        for (const std::uint64_t reading : row.readings) {
            count.update(reading);
        }
        EXPECT_EQ(count.used(), row.used) << ::testing::PrintToString(row.readings);
    }
}

}  // namespace
}  // namespace vesta
