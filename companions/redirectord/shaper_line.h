#pragma once

// The commands of the shaper's socket, read. Values, without threads.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "netlink/station_key.h"

namespace redirectord {

using companion::StationKey;

// Bytes a second; 0 is no limit.
struct SpeedLimits {
    std::uint32_t toStation = 0;
    std::uint32_t fromStation = 0;
};

// "sta add" with limits, or "sta del", which reads as no limit either way.
struct ShaperCommand {
    StationKey station;
    SpeedLimits limits;
};

// Reads one command as docs/modules.md describes it, with or without its line end. Nothing, with
// the reason in `problem`, when the line is anything else. The bursts must be numbers; they are not
// used, because a second's worth of burst would double what the first second brings.
[[nodiscard]] std::optional<ShaperCommand> parseShaperCommand(std::string_view line,
                                                              std::string& problem);

}  // namespace redirectord
