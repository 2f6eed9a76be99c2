#include "ostrel/clock.h"

#include <atomic>
#include <ctime>

namespace ostrel {
namespace {

std::int64_t microseconds(clockid_t id) {
    timespec now{};
    // Not std::chrono::system_clock: its prebuilt now() keeps a 32-bit time_t on 32-bit targets.
    clock_gettime(id, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}

class SystemClock final : public Clock {
public:
    std::int64_t monotonicMicroseconds() const override { return microseconds(CLOCK_MONOTONIC); }
    std::int64_t wallMicroseconds() const override { return microseconds(CLOCK_REALTIME); }
};

const SystemClock systemClock;
std::atomic<const Clock*> current{&systemClock};

}  // namespace

const Clock& clock() {
    return *current.load(std::memory_order_acquire);
}

void setClock(const Clock* replacement) {
    current.store(replacement != nullptr ? replacement : &systemClock, std::memory_order_release);
}

}  // namespace ostrel
