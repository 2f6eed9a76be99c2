#pragma once

// A clock that stands until the test moves it. It is in force from its construction to its
// destruction; any thread may read it meanwhile.

#include <atomic>
#include <cstdint>

#include "ostrel/clock.h"

namespace vesta::testing {

class FakeClock : public ostrel::Clock {
public:
    FakeClock() { ostrel::setClock(this); }
    ~FakeClock() override { ostrel::setClock(nullptr); }
    FakeClock(const FakeClock&) = delete;
    FakeClock& operator=(const FakeClock&) = delete;

    std::int64_t monotonicMicroseconds() const override { return monotonic; }
    std::int64_t wallMicroseconds() const override { return wall; }

    void advanceSeconds(std::int64_t seconds) { advanceMicroseconds(seconds * 1000000); }
    void advanceMicroseconds(std::int64_t microseconds) {
        monotonic += microseconds;
        wall += microseconds;
    }

    // In microseconds.
    std::atomic<std::int64_t> monotonic{1000 * 1000000LL};
    std::atomic<std::int64_t> wall{1700000000 * 1000000LL};
};

}  // namespace vesta::testing
