#include "retransmission.h"

#include <algorithm>

#include "crypto.h"

namespace ostrel::radius {
namespace {

constexpr std::int64_t kInitial = 2'000'000;
constexpr std::int64_t kLongest = 16'000'000;
constexpr std::int64_t kWhole = 30'000'000;
constexpr unsigned int kTries = 5;

// Up to 10 % more or less, so that requests that began together do not stay together.
std::int64_t withJitter(std::int64_t interval) {
    std::uint16_t random = 0;
    if (!randomBytes(&random, sizeof random)) {
        return interval;
    }
    return interval + (static_cast<std::int64_t>(random) - 32768) * (interval / 10) / 32768;
}

}  // namespace

void Retransmission::begin(std::int64_t now) {
    startedAt_ = now;
    tries_ = 1;
    wait(now);
}

bool Retransmission::next(std::int64_t now) {
    if (tries_ >= kTries || now >= startedAt_ + kWhole) {
        return false;
    }
    ++tries_;
    wait(now);
    return true;
}

void Retransmission::wait(std::int64_t now) {
    const std::int64_t interval = std::min(kInitial << (tries_ - 1), kLongest);
    deadline_ = std::min(now + withJitter(interval), startedAt_ + kWhole);
}

}  // namespace ostrel::radius
