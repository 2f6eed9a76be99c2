#include "scenario/scenario.h"

#include "core/logger.h"
#include "core/optional_value.h"
#include "messages/scenario_message_extractor.h"
#include "messages/scenario_message_factory.h"
#include "station/client_statistic_info.h"

namespace vesta {
namespace {

// Stand in log records behind the name of the operation.
constexpr int kNoStatisticsRecord = 120;
constexpr int kCopyRecord = 155;

}  // namespace

Scenario::Scenario(const std::shared_ptr<MessageEntry>& message,
                   const std::shared_ptr<ScenarioMessageExtractor>& extractor) {
    Scenario::extractDataFromMsg(message, extractor);
}

void Scenario::extractDataFromMsg(std::shared_ptr<MessageEntry> message,
                                  std::shared_ptr<ScenarioMessageExtractor> extractor) {
    std::string name = "not_named";
    if (!readOptional([&] { name = extractor->extractName(message); })) {
        logger().Warning("Scenario without name, use default name\n");
    }
    name_ = std::make_shared<const std::string>(std::move(name));
    if (!readOptional([&] { id_ = extractor->extractID(message); })) {
        logger().Warning("Scenario without ID, this can be very bad\n");
    }
}

void Scenario::startScenario(unsigned int) {}

std::string Scenario::getRedirectUrl() const {
    logMissing("getRedirectUrl");
    return "";
}

std::string Scenario::getVirtualPortalName() const {
    logMissing("getVirtualPortalName");
    return "";
}

bool Scenario::isExpired() {
    return false;
}

std::string Scenario::getExpireReason() const {
    logMissing("getExpireReason");
    return "";
}

bool Scenario::clearExpireReason() {
    logMissing("clearExpireReason");
    return false;
}

std::string Scenario::getWhiteIpListId() const {
    logMissing("getWhiteIpListId");
    return "";
}

unsigned int Scenario::getTxMaxSpeed() const {
    logMissing("getTxMaxSpeed");
    return 0;
}

unsigned int Scenario::getRxMaxSpeed() const {
    logMissing("getRxMaxSpeed");
    return 0;
}

long long Scenario::getTrafficLimit() const {
    return 0;
}

long Scenario::getAwayTimeout() const {
    return 0;
}

long Scenario::getCurrentTimeLimit() const {
    return 0;
}

long Scenario::getScenarioTime() const {
    return 0;
}

long Scenario::getConnectionTime() const {
    return 0;
}

long long Scenario::getCurrentTraffic() const {
    return 0;
}

std::string Scenario::getMacAuthSuccessScenarioName() const {
    logMissing("getMacAuthSuccessScenarioName");
    return "";
}

std::string Scenario::getMacAuthFailureScenarioName() const {
    logMissing("getMacAuthFailureScenarioName");
    return "";
}

std::string Scenario::get_name_auth_scenario() const {
    logMissing("get_name_auth_scenario");
    return "";
}

std::string Scenario::get_name_deauth_scenario() const {
    logMissing("get_name_deauth_scenario");
    return "";
}

void Scenario::updateScenarioConstraints(AccessScenarioConstraints&) {
    logMissing("updateScenarioConstraints");
}

void Scenario::updateStatistic(ClientStatisticInfo&) {}

ClientStatisticInfo Scenario::getStatistic() const {
    logger().Debug("%s,%d,scenario %s has no statistics\n", "getStatistic", kNoStatisticsRecord,
                   name_->c_str());
    return {};
}

std::shared_ptr<MessageEntry> Scenario::writeReport(ScenarioMessageFactory& factory,
                                                    const Report& report) const {
    factory.createMessage();
    factory.addId(id_);
    factory.addName(*name_);
    factory.addAccessType(getAccessOpen());
    factory.addExternalUrl(report.externalUrl);
    factory.addWithoutSession(false);
    if (report.whiteIp != nullptr) {
        factory.addWhiteIp(*report.whiteIp);
    } else {
        factory.addWhiteIpHash("");
    }
    factory.addSessionTimeout(report.sessionTimeout);
    factory.addSessionTime(report.sessionTime);
    factory.addTimeLimit(report.timeLimit);
    factory.addCurrentTimeLimit(report.currentTimeLimit);
    factory.addAwayTimeout(report.awayTimeout);
    factory.addTrafficLimit(report.trafficLimit);
    factory.addCurrentTrafficLimit(report.currentTraffic);
    factory.addAclUp("");
    factory.addAclDown("");
    factory.addPolicyUp("");
    factory.addPolicyDown("");
    factory.addBandwidthUp(report.bandwidthUp);
    factory.addBandwidthDown(report.bandwidthDown);
    return factory.getResultMessage();
}

void Scenario::logCopy() const {
    logger().Debug("%s,%d,get copy of scenario '%s'\n", "getSenarioCopy", kCopyRecord,
                   name_->c_str());
}

void Scenario::logMissing(const char* operation) const {
    logger().Error(
        "Calling %s for scenario %s whoes not store needed attribute! Something gone wrong, this "
        "must not gonna happend!\n",
        operation, name_->c_str());
}

}  // namespace vesta
