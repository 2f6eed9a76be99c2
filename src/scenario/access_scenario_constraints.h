#pragma once

// The limits of an access scenario; 0 is no limit.

#include <cstdint>
#include <memory>

#include "core/message_entry.h"

namespace vesta {

class ScenarioMessageExtractor;

class AccessScenarioConstraints {
public:
    AccessScenarioConstraints() = default;
    // What the extractor finds; a value that is missing stays 0. The three byte limits are signed
    // 32-bit values: a negative one is widened to an unsigned limit that never expires.
    AccessScenarioConstraints(const std::shared_ptr<MessageEntry>& message,
                              const std::shared_ptr<ScenarioMessageExtractor>& extractor);
    // The same, from a message that uses the configuration's keys.
    explicit AccessScenarioConstraints(const std::shared_ptr<MessageEntry>& message);

    // Takes over every limit that is not 0, except the away timeout, which only the configuration
    // sets.
    void update(const AccessScenarioConstraints& newLimits);

    std::int32_t expireTime = 0;      // seconds of the station's connection
    std::int32_t awayTimeout = 0;     // seconds
    std::uint32_t txMaxSpeed = 0;     // KiB/s, reported as the downward bandwidth
    std::uint32_t rxMaxSpeed = 0;     // KiB/s, reported as the upward bandwidth
    std::uint64_t txMaxBytes = 0;     // bytes that the access point received from the station
    std::uint64_t rxMaxBytes = 0;     // bytes that it sent to the station
    std::uint64_t trafficLimit = 0;   // bytes in both directions together
    std::int32_t maxSessionTime = 0;  // seconds of session
};

}  // namespace vesta
