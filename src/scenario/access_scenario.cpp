#include "scenario/access_scenario.h"

#include <algorithm>
#include <cstdint>

#include "core/logger.h"
#include "core/optional_value.h"
#include "messages/scenario_message_extractor.h"
#include "ostrel/clock.h"
#include "station/client_statistic_info.h"

namespace vesta {
namespace {

// Stand in log records behind the name of the operation.
constexpr int kStartRecord = 52;
constexpr int kSessionExpiredRecord = 89;

// Records print seconds and bytes as the low 32 bits.
template <class Number>
int asInt(Number value) {
    return static_cast<int>(value);
}

}  // namespace

AccessScenario::AccessScenario(std::shared_ptr<MessageEntry> message,
                               std::shared_ptr<ScenarioMessageExtractor> extractor)
    : Scenario(message, extractor) {
    AccessScenario::extractDataFromMsg(message, extractor);
}

void AccessScenario::extractDataFromMsg(std::shared_ptr<MessageEntry> message,
                                        std::shared_ptr<ScenarioMessageExtractor> extractor) {
    constraints_ = AccessScenarioConstraints(message, extractor);
    std::string next;
    if (!readOptional([&] { next = extractor->extractDeauthScenario(message); })) {
        logger().Warning("Redirect scenario %s without param switch-scenario\n",
                         getScenarioName().c_str());
    }
    deauthScenario_ = std::make_shared<const std::string>(std::move(next));
}

std::shared_ptr<Scenario> AccessScenario::getSenarioCopy() const {
    logCopy();
    return std::make_shared<AccessScenario>(*this);
}

void AccessScenario::startScenario(unsigned int syncTime) {
    lastSessionCheck_ = ostrel::monotonicSeconds();
    txBytes_.start();
    rxBytes_.start();
    sessionTime_ = static_cast<std::int32_t>(syncTime);
    expireReason_ = ExpireReason::none;
    logger().Debug("%s,%d,access sceanrio was started at %d time with sync time %d\n",
                   "startScenario", kStartRecord, asInt(lastSessionCheck_), asInt(syncTime));
}

bool AccessScenario::isExpired() {
    return isTimeExpired() || isTrafficLimitExpired() || isSessionExpired() ||
           isTxTrafficExpired() || isRxTrafficExpired();
}

bool AccessScenario::isTimeExpired() {
    if (constraints_.expireTime == 0 || counters_.uptime <= constraints_.expireTime) {
        return false;
    }
    logger().Debug("%s check expire time %d > %d\n", "isTimeExpired", counters_.uptime,
                   constraints_.expireTime);
    expireReason_ = ExpireReason::time;
    return true;
}

bool AccessScenario::isTrafficLimitExpired() {
    if (constraints_.trafficLimit == 0 ||
        txBytes_.used() + rxBytes_.used() <= constraints_.trafficLimit) {
        return false;
    }
    logger().Debug("%s check expire rx bytes %d + %d > %d\n", "isTrafficLimitExpired",
                   asInt(txBytes_.used()), asInt(rxBytes_.used()),
                   asInt(constraints_.trafficLimit));
    expireReason_ = ExpireReason::traffic;
    return true;
}

bool AccessScenario::isSessionExpired() {
    const std::int64_t now = ostrel::monotonicSeconds();
    sessionTime_ = static_cast<std::int32_t>(
        std::min<std::int64_t>(sessionTime_ + (now - lastSessionCheck_), INT32_MAX));
    lastSessionCheck_ = now;
    if (constraints_.maxSessionTime == 0 || sessionTime_ <= constraints_.maxSessionTime) {
        return false;
    }
    logger().Debug("%s,%d,at %d check expire time %d > %d failed\n", "isSessionExpired",
                   kSessionExpiredRecord, asInt(now), constraints_.maxSessionTime, sessionTime_);
    expireReason_ = ExpireReason::session;
    return true;
}

bool AccessScenario::isTxTrafficExpired() {
    if (constraints_.txMaxBytes == 0 || txBytes_.used() <= constraints_.txMaxBytes) {
        return false;
    }
    logger().Debug("%s check expire tx bytes %lld - %lld > %lld\n", "isTxTrafficExpired",
                   static_cast<long long>(txBytes_.first() + txBytes_.used()),
                   static_cast<long long>(txBytes_.first()),
                   static_cast<long long>(constraints_.txMaxBytes));
    expireReason_ = ExpireReason::traffic;
    return true;
}

bool AccessScenario::isRxTrafficExpired() {
    if (constraints_.rxMaxBytes == 0 || rxBytes_.used() <= constraints_.rxMaxBytes) {
        return false;
    }
    logger().Debug("%s check expire rx bytes %d - %d > %d\n", "isRxTrafficExpired",
                   asInt(rxBytes_.first() + rxBytes_.used()), asInt(rxBytes_.first()),
                   asInt(constraints_.rxMaxBytes));
    expireReason_ = ExpireReason::traffic;
    return true;
}

std::string AccessScenario::getExpireReason() const {
    switch (expireReason_) {
        case ExpireReason::none:
            return "";
        case ExpireReason::time:
            return "time-over";
        case ExpireReason::traffic:
            return "traffic-over";
        case ExpireReason::session:
            return "session-over";
        case ExpireReason::cleared:
            return "cleared";
    }
    return "";
}

bool AccessScenario::clearExpireReason() {
    expireReason_ = ExpireReason::cleared;
    return true;
}

long long AccessScenario::getTrafficLimit() const {
    return static_cast<long long>(constraints_.trafficLimit);
}

long AccessScenario::getCurrentTimeLimit() const {
    return constraints_.expireTime != 0 ? counters_.uptime : 0;
}

long long AccessScenario::getCurrentTraffic() const {
    return constraints_.trafficLimit != 0
               ? static_cast<long long>(txBytes_.used() + rxBytes_.used())
               : 0;
}

void AccessScenario::updateScenarioConstraints(AccessScenarioConstraints& newLimits) {
    constraints_.update(newLimits);
}

void AccessScenario::updateStatistic(ClientStatisticInfo& statistics) {
    counters_ = statistics;
    txBytes_.update(counters_.rxBytes);
    rxBytes_.update(counters_.txBytes);
}

ClientStatisticInfo AccessScenario::getStatistic() const {
    ClientStatisticInfo statistics;
    statistics.counters() = counters_;
    statistics.timeLimit = constraints_.expireTime;
    return statistics;
}

std::shared_ptr<MessageEntry> AccessScenario::dumpToMessage(
    std::shared_ptr<ScenarioMessageFactory> factory) const {
    Report report;
    report.sessionTimeout = constraints_.maxSessionTime;
    report.sessionTime = getScenarioTime();
    report.timeLimit = constraints_.expireTime;
    report.currentTimeLimit = getCurrentTimeLimit();
    report.awayTimeout = constraints_.awayTimeout;
    report.trafficLimit = getTrafficLimit();
    report.currentTraffic = getCurrentTraffic();
    report.bandwidthUp = constraints_.rxMaxSpeed;
    report.bandwidthDown = constraints_.txMaxSpeed;
    return writeReport(*factory, report);
}

}  // namespace vesta
