#pragma once

// The limits of an access scenario; 0 is no limit.
//
// Here the names turn round: "transmit" of the speed limits is towards the station, as the shaper
// has it, but "transmit" of the byte limits is from the station.

#include <cstdint>
#include <memory>

#include "core/message_entry.h"

namespace vesta {

class ScenarioMessageExtractor;

class AccessScenarioConstraints {
public:
    AccessScenarioConstraints() = default;
    // What the extractor finds; a value that is missing stays 0. A negative byte limit becomes an
    // unsigned one that never expires.
    AccessScenarioConstraints(const std::shared_ptr<MessageEntry>& message,
                              const std::shared_ptr<ScenarioMessageExtractor>& extractor);
    // The same, from a message with the configuration's keys: for a sender of limits that has no
    // extractor of its own.
    explicit AccessScenarioConstraints(const std::shared_ptr<MessageEntry>& message);

    // Takes over every limit that is not 0. The away timeout stays: only the configuration sets it.
    void update(const AccessScenarioConstraints& newLimits);

    std::int32_t expireTime = 0;      // seconds of the station's connection
    std::int32_t awayTimeout = 0;     // seconds
    std::uint32_t txMaxSpeed = 0;     // KiB/s down to the station
    std::uint32_t rxMaxSpeed = 0;     // KiB/s up from the station
    std::uint64_t txMaxBytes = 0;     // bytes up from the station
    std::uint64_t rxMaxBytes = 0;     // bytes down to the station
    std::uint64_t trafficLimit = 0;   // bytes in both directions together
    std::int32_t maxSessionTime = 0;  // seconds of session
};

}  // namespace vesta
