#include "portal/config_scenario_message_extractor.h"

#include "core/logger.h"
#include "whitelist/white_lists_store.h"

namespace vesta {

ConfigScenarioMessageExtractor::ConfigScenarioMessageExtractor(unsigned int index)
    : nextId_(index) {
    logger().Debug("create extractor with index %d\n", static_cast<int>(index));
}

long ConfigScenarioMessageExtractor::extractExpireTime(Entry scenario) {
    return scenario->getIntValue("expire-time");
}

long long ConfigScenarioMessageExtractor::extractTxMaxBytes(Entry scenario) {
    return scenario->getIntValue("transmit-maximum-bytes");
}

long long ConfigScenarioMessageExtractor::extractRxMaxBytes(Entry scenario) {
    return scenario->getIntValue("receive-maximum-bytes");
}

long long ConfigScenarioMessageExtractor::extractTrafficLimit(Entry scenario) {
    return scenario->getIntValue("traffic-limit");
}

long ConfigScenarioMessageExtractor::extractMaxSessionTime(Entry scenario) {
    return scenario->getIntValue("max-session-time");
}

long ConfigScenarioMessageExtractor::extractAwayTimeout(Entry scenario) {
    return scenario->getIntValue("away-timeout");
}

unsigned int ConfigScenarioMessageExtractor::extractID(Entry) {
    const unsigned int id = nextId_++;
    logger().Debug("Add scenario with id %d\n", static_cast<int>(id));
    return id;
}

unsigned int ConfigScenarioMessageExtractor::extractTxMaxSpeed(Entry scenario) {
    return static_cast<unsigned int>(scenario->getIntValue("transmit-maximum-speed"));
}

unsigned int ConfigScenarioMessageExtractor::extractRxMaxSpeed(Entry scenario) {
    return static_cast<unsigned int>(scenario->getIntValue("receive-maximum-speed"));
}

std::string ConfigScenarioMessageExtractor::extractAccessType(Entry scenario) {
    return scenario->getCharValue("access-type");
}

std::string ConfigScenarioMessageExtractor::extractName(Entry scenario) {
    return scenario->getCharValue("name");
}

std::string ConfigScenarioMessageExtractor::extractRedirectUrl(Entry scenario) {
    return scenario->getCharValue("redirect-url");
}

std::string ConfigScenarioMessageExtractor::extractVirtualPortalName(Entry scenario) {
    return scenario->getCharValue("virtual-portal-name");
}

std::string ConfigScenarioMessageExtractor::extractAuthedScenario(Entry scenario) {
    return scenario->getCharValue("auth-scenario");
}

std::string ConfigScenarioMessageExtractor::extractDeauthScenario(Entry scenario) {
    return scenario->getCharValue("deauth-scenario");
}

std::string ConfigScenarioMessageExtractor::extractMacAuthSuccessScenario(Entry scenario) {
    return scenario->getCharValue("mac-auth-success-scenario");
}

std::string ConfigScenarioMessageExtractor::extractMacAuthFailScenario(Entry scenario) {
    return scenario->getCharValue("mac-auth-failure-scenario");
}

WhiteListSupportScenarioExtractor::WhiteListSupportScenarioExtractor(
    std::shared_ptr<IWhiteAddressesListsStore> store, unsigned int index)
    : ConfigScenarioMessageExtractor(index), store_(std::move(store)) {}

std::pair<std::string, std::string> WhiteListSupportScenarioExtractor::extractWhiteListId(
    Entry scenario) {
    const std::string name = scenario->getCharValue("white-list");
    return {name, name.empty() ? "" : store_->getWhiteListHash(name)};
}

}  // namespace vesta
