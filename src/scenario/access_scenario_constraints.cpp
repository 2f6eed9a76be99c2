#include "scenario/access_scenario_constraints.h"

#include "core/logger.h"
#include "core/optional_value.h"
#include "messages/scenario_message_extractor.h"

namespace vesta {
namespace {

// 0 when `read()` throws, after one log record.
template <class Read>
auto readLimit(const char* key, Read read) -> decltype(read()) {
    decltype(read()) value = 0;
    if (!readOptional([&] { value = read(); })) {
        logger().Debug("Constraints without param %s\n", key);
    }
    return value;
}

std::int32_t seconds(long value) {
    return static_cast<std::int32_t>(value);
}

// A negative limit never expires.
std::uint64_t bytes(long long value) {
    return static_cast<std::uint64_t>(value);
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
    const auto read = [&](const char* key, auto extract) {
        return readLimit(key, [&] { return ((*extractor).*extract)(message); });
    };
    using From = ScenarioMessageExtractor;
    expireTime = seconds(read("expire-time", &From::extractExpireTime));
    txMaxSpeed = read("transmit-maximum-speed", &From::extractTxMaxSpeed);
    rxMaxSpeed = read("receive-maximum-speed", &From::extractRxMaxSpeed);
    txMaxBytes = bytes(read("transmit-maximum-bytes", &From::extractTxMaxBytes));
    rxMaxBytes = bytes(read("receive-maximum-bytes", &From::extractRxMaxBytes));
    trafficLimit = bytes(read("traffic-limit", &From::extractTrafficLimit));
    maxSessionTime = seconds(read("max-session-time", &From::extractMaxSessionTime));
    awayTimeout = seconds(read("away-timeout", &From::extractAwayTimeout));
}

AccessScenarioConstraints::AccessScenarioConstraints(const std::shared_ptr<MessageEntry>& message) {
    const auto read = [&](const char* key) {
        return readLimit(key, [&] { return message->getIntValue(key); });
    };
    const auto readBytes = [&](const char* key) {
        return bytes(readLimit(key, [&] { return message->getLongLongValue(key); }));
    };
    expireTime = read("expire-time");
    txMaxSpeed = static_cast<std::uint32_t>(read("transmit-maximum-speed"));
    rxMaxSpeed = static_cast<std::uint32_t>(read("receive-maximum-speed"));
    txMaxBytes = readBytes("transmit-maximum-bytes");
    rxMaxBytes = readBytes("receive-maximum-bytes");
    trafficLimit = readBytes("traffic-limit");
    maxSessionTime = read("max-session-time");
    awayTimeout = read("away-timeout");
}

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
