#pragma once

// A clock that stands until the test moves it. It is in force from its construction to its
// destruction; any thread may read it meanwhile.

#include <atomic>
#include <cstdint>

#include "ostrel/clock.h"

namespace vesta::testing {

class FakeClock final : public ostrel::Clock {
public:
    FakeClock() { ostrel::setClock(this); }
    ~FakeClock() override { ostrel::setClock(nullptr); }
    FakeClock(const FakeClock&) = delete;
    FakeClock& operator=(const FakeClock&) = delete;

    std::int64_t monotonicMicroseconds() const override { return monotonic_; }
    std::int64_t wallMicroseconds() const override { return wall_; }

    void advanceSeconds(std::int64_t seconds) { advanceMicroseconds(seconds * 1000000); }
    void advanceMicroseconds(std::int64_t microseconds) {
        monotonic_ += microseconds;
        wall_ += microseconds;
    }

private:
    std::atomic<std::int64_t> monotonic_{1000 * 1000000LL};
    std::atomic<std::int64_t> wall_{1700000000 * 1000000LL};
};

}  // namespace vesta::testing
