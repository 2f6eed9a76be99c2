#pragma once

// The head of a record: "2026-11-22 21:14:42.123 +0000 vestad[123]: ". Ordinary records and those
// of a signal handler share it, so that both read alike.
//
// Threads: async-signal-safe; nothing is kept.

#include <cstddef>
#include <cstdint>

namespace ostrel::log {

struct Stamp {
    std::int64_t wallMicroseconds;  // since 1970-01-01 00:00 UTC
    std::int32_t zoneSeconds;       // local time minus UTC
    const char* daemon;
    long process;
};

// Enough for any date, a name of 63 characters and any process id.
inline constexpr std::size_t kStampCapacity = 192;

// Writes the head into `out`, without a terminator, and returns its length; what would pass
// `capacity` is cut off.
std::size_t formatStamp(const Stamp& stamp, char* out, std::size_t capacity);

}  // namespace ostrel::log
