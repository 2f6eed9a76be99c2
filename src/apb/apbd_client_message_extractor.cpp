#include "apb/apbd_client_message_extractor.h"

#include "apb/apbd_numbers.h"
#include "apb/apbd_scenario_message_extractor.h"

namespace vesta {

std::shared_ptr<ScenarioMessageExtractor> APBDClientMessageExtractor::getScenarioExtractor() {
    return std::make_shared<APBDScenarioMessageExtractor>(store_);
}

std::string APBDClientMessageExtractor::extractMac(Entry entry) {
    return entry->getCharValue("sta-mac");
}

std::string APBDClientMessageExtractor::extractIp(Entry entry) {
    return entry->getCharValue("sta-ip");
}

std::string APBDClientMessageExtractor::extractSsid(Entry entry) {
    return entry->getCharValue("ssid");
}

std::string APBDClientMessageExtractor::extractLogin(Entry entry) {
    return entry->getCharValue("user-name");
}

std::string APBDClientMessageExtractor::extractRadiusDomain(Entry entry) {
    return entry->getCharValue("radius-domain");
}

std::string APBDClientMessageExtractor::extractMobilDomain(Entry entry) {
    return entry->getCharValue("mobility-domain");
}

unsigned int APBDClientMessageExtractor::extractCurrentScenarioId(Entry entry) {
    return idFromPeers(entry->getIntValue("cur-scenario-id"));
}

long APBDClientMessageExtractor::extractSessionTime(Entry entry) {
    return entry->getIntValue("cur-session-time");
}

long APBDClientMessageExtractor::extractTimeLimit(Entry entry) {
    return entry->getIntValue("cur-time-limit");
}

long long APBDClientMessageExtractor::extractTrafficLimit(Entry entry) {
    return entry->getIntValue("cur-traffic-limit");
}

std::vector<ClientMessageExtractor::Entry> APBDClientMessageExtractor::extractScenarios(
    Entry entry) {
    return entry->getArrayValue("scenario");
}

}  // namespace vesta
