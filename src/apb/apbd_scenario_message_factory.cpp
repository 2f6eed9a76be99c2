#include "apb/apbd_scenario_message_factory.h"

#include "apb/apbd_numbers.h"
#include "core/json_entry.h"

namespace vesta {

void APBDScenarioMessageFactory::createMessage() {
    message_ = std::make_shared<JsonEntry>("{}");
    type_ = ACCESS_ALLOW;
    hasUrl_ = false;
}

std::shared_ptr<MessageEntry> APBDScenarioMessageFactory::getResultMessage() {
    const bool expressible = type_ == ACCESS_ALLOW || (type_ == ACCESS_REDIRECT && hasUrl_);
    return expressible ? message_ : nullptr;
}

void APBDScenarioMessageFactory::addId(unsigned int id) {
    message_->insertIntValue("ID", idForPeers(id));
}

void APBDScenarioMessageFactory::addExternalUrl(const std::string& url) {
    message_->insertStringValue("external-url", url.c_str());
    hasUrl_ = !url.empty();
}

void APBDScenarioMessageFactory::addWithoutSession(bool without) {
    message_->insertStringValue("start-session", without ? "false" : "true");
}

void APBDScenarioMessageFactory::addWhiteIpHash(const std::string& hash) {
    message_->insertStringValue("permitted-ip", hash.c_str());
}

void APBDScenarioMessageFactory::addWhiteIp(const std::string& list) {
    message_->insertStringValue("permitted-ip", list.c_str());
}

void APBDScenarioMessageFactory::addSessionTimeout(long seconds) {
    message_->insertIntValue("session-timeout", secondsForPeers(seconds));
}

void APBDScenarioMessageFactory::addTimeLimit(long seconds) {
    message_->insertIntValue("time-limit", secondsForPeers(seconds));
}

void APBDScenarioMessageFactory::addAwayTimeout(long seconds) {
    message_->insertIntValue("away-timeout", secondsForPeers(seconds));
}

void APBDScenarioMessageFactory::addTrafficLimit(long long bytes) {
    message_->insertIntValue("traffic-limit", bytesForPeers(bytes));
}

void APBDScenarioMessageFactory::addPolicyUp(const std::string& policy) {
    message_->insertStringValue("policy-up", policy.c_str());
}

void APBDScenarioMessageFactory::addPolicyDown(const std::string& policy) {
    message_->insertStringValue("policy-down", policy.c_str());
}

void APBDScenarioMessageFactory::addBandwidthUp(unsigned int kibPerSecond) {
    message_->insertIntValue("bandwidth-max-up", bandwidthForPeers(kibPerSecond));
}

void APBDScenarioMessageFactory::addBandwidthDown(unsigned int kibPerSecond) {
    message_->insertIntValue("bandwidth-max-down", bandwidthForPeers(kibPerSecond));
}

}  // namespace vesta
