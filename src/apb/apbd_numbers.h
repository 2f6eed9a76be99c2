#pragma once

// The numbers of the dialect: 32 bits wide.

#include <algorithm>
#include <cstdint>
#include <limits>

#include "messages/scenario_ids.h"

namespace vesta {

inline int secondsForPeers(long seconds) {
    return static_cast<int>(std::clamp<std::int64_t>(seconds, std::numeric_limits<int>::min(),
                                                     std::numeric_limits<int>::max()));
}

inline int bytesForPeers(long long bytes) {
    return static_cast<int>(static_cast<std::uint32_t>(bytes));
}

// KiB/s as bytes/s; what does not fit is the greatest rate that does, since 0 would be no limit.
inline int bandwidthForPeers(unsigned int kibPerSecond) {
    return static_cast<int>(
        std::min<std::int64_t>(std::int64_t{kibPerSecond} * 1024, std::numeric_limits<int>::max()));
}

inline unsigned int bandwidthFromPeers(int bytesPerSecond) {
    return static_cast<unsigned int>(std::max(0, bytesPerSecond) / 1024);
}

}  // namespace vesta
