#pragma once

// Every reading of time goes through here. Durations are measured on the monotonic clock: the wall
// clock of a machine without a battery jumps when it is first set. The wall clock is for records
// that leave the machine. A test sets both instead of sleeping.
//
// Threads: any thread may read. A test sets a clock before the threads that read it start.

#include <cstdint>

namespace ostrel {

class Clock {
public:
    virtual ~Clock() = default;
    // Microseconds since an arbitrary fixed point; never goes back.
    [[nodiscard]] virtual std::int64_t monotonicMicroseconds() const = 0;
    // Microseconds since 1970-01-01 00:00 UTC.
    [[nodiscard]] virtual std::int64_t wallMicroseconds() const = 0;
};

// The clock in force: the system's, or the one that a test has set.
[[nodiscard]] const Clock& clock();

// Puts `replacement` in force until it is replaced; null brings the system's clock back. The caller
// keeps the object alive meanwhile.
void setClock(const Clock* replacement);

// Whole milliseconds of the monotonic clock.
[[nodiscard]] inline std::int64_t monotonicMilliseconds() {
    return clock().monotonicMicroseconds() / 1000;
}

// Whole seconds of the monotonic clock.
[[nodiscard]] inline std::int64_t monotonicSeconds() {
    return clock().monotonicMicroseconds() / 1000000;
}

// Whole seconds since 1970-01-01 00:00 UTC.
[[nodiscard]] inline std::int64_t wallSeconds() {
    return clock().wallMicroseconds() / 1000000;
}

// Whole milliseconds since 1970-01-01 00:00 UTC.
[[nodiscard]] inline std::int64_t wallMilliseconds() {
    return clock().wallMicroseconds() / 1000;
}

}  // namespace ostrel
