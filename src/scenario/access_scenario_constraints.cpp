#include "scenario/access_scenario_constraints.h"

#include "core/logger.h"
#include "messages/scenario_message_extractor.h"
#include "scenario/optional_value.h"

namespace vesta {
namespace {

// The limits under the configuration's keys.
class LimitsExtractor final : public ScenarioMessageExtractor {
public:
    long extractExpireTime(Entry message) override { return message->getIntValue("expire-time"); }
    long long extractTxMaxBytes(Entry message) override {
        return message->getIntValue("transmit-maximum-bytes");
    }
    long long extractRxMaxBytes(Entry message) override {
        return message->getIntValue("receive-maximum-bytes");
    }
    long long extractTrafficLimit(Entry message) override {
        return message->getIntValue("traffic-limit");
    }
    long extractMaxSessionTime(Entry message) override {
        return message->getIntValue("max-session-time");
    }
    long extractAwayTimeout(Entry message) override { return message->getIntValue("away-timeout"); }
    unsigned int extractTxMaxSpeed(Entry message) override {
        return static_cast<unsigned int>(message->getIntValue("transmit-maximum-speed"));
    }
    unsigned int extractRxMaxSpeed(Entry message) override {
        return static_cast<unsigned int>(message->getIntValue("receive-maximum-speed"));
    }
};

template <class Read>
void readLimit(const char* key, Read read) {
    if (!readOptional(read)) {
        logger().Debug("Constraints without param %s\n", key);
    }
}

std::uint64_t widened(long long value) {
    return static_cast<std::uint64_t>(std::int64_t{static_cast<std::int32_t>(value)});
}

template <class Limit>
void replaceUnlessZero(Limit& limit, Limit newLimit) {
    if (newLimit != 0) {
        limit = newLimit;
    }
}

}  // namespace

AccessScenarioConstraints::AccessScenarioConstraints(
    const std::shared_ptr<MessageEntry>& message,
    const std::shared_ptr<ScenarioMessageExtractor>& extractor) {
    ScenarioMessageExtractor& from = *extractor;
    readLimit("expire-time",
              [&] { expireTime = static_cast<std::int32_t>(from.extractExpireTime(message)); });
    readLimit("transmit-maximum-speed", [&] { txMaxSpeed = from.extractTxMaxSpeed(message); });
    readLimit("receive-maximum-speed", [&] { rxMaxSpeed = from.extractRxMaxSpeed(message); });
    readLimit("transmit-maximum-bytes",
              [&] { txMaxBytes = widened(from.extractTxMaxBytes(message)); });
    readLimit("receive-maximum-bytes",
              [&] { rxMaxBytes = widened(from.extractRxMaxBytes(message)); });
    readLimit("traffic-limit", [&] { trafficLimit = widened(from.extractTrafficLimit(message)); });
    readLimit("max-session-time", [&] {
        maxSessionTime = static_cast<std::int32_t>(from.extractMaxSessionTime(message));
    });
    readLimit("away-timeout",
              [&] { awayTimeout = static_cast<std::int32_t>(from.extractAwayTimeout(message)); });
}

AccessScenarioConstraints::AccessScenarioConstraints(const std::shared_ptr<MessageEntry>& message)
    : AccessScenarioConstraints(message, std::make_shared<LimitsExtractor>()) {}

void AccessScenarioConstraints::update(const AccessScenarioConstraints& newLimits) {
    replaceUnlessZero(expireTime, newLimits.expireTime);
    replaceUnlessZero(txMaxSpeed, newLimits.txMaxSpeed);
    replaceUnlessZero(rxMaxSpeed, newLimits.rxMaxSpeed);
    replaceUnlessZero(txMaxBytes, newLimits.txMaxBytes);
    replaceUnlessZero(rxMaxBytes, newLimits.rxMaxBytes);
    replaceUnlessZero(trafficLimit, newLimits.trafficLimit);
    replaceUnlessZero(maxSessionTime, newLimits.maxSessionTime);
}

}  // namespace vesta
