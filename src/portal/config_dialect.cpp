#include "portal/config_dialect.h"

#include "core/logger.h"
#include "core/required_key.h"
#include "whitelist/white_lists_store.h"

namespace vesta {
namespace {

constexpr TableScenarioMessageExtractor::Table kScenario({
    {ScenarioSource::accessType, "access-type", readText},
    {ScenarioSource::name, "name", readText},
    {ScenarioSource::redirectUrl, "redirect-url", readText},
    {ScenarioSource::virtualPortalName, "virtual-portal-name", readText},
    {ScenarioSource::txMaxSpeed, "transmit-maximum-speed", readNumber},
    {ScenarioSource::rxMaxSpeed, "receive-maximum-speed", readNumber},
    {ScenarioSource::expireTime, "expire-time", readNumber},
    {ScenarioSource::txMaxBytes, "transmit-maximum-bytes", readBytes},
    {ScenarioSource::rxMaxBytes, "receive-maximum-bytes", readBytes},
    {ScenarioSource::trafficLimit, "traffic-limit", readBytes},
    {ScenarioSource::maxSessionTime, "max-session-time", readNumber},
    {ScenarioSource::awayTimeout, "away-timeout", readNumber},
    {ScenarioSource::authedScenario, "auth-scenario", readText},
    {ScenarioSource::deauthScenario, "deauth-scenario", readText},
    {ScenarioSource::macAuthSuccessScenario, "mac-auth-success-scenario", readText},
    {ScenarioSource::macAuthFailScenario, "mac-auth-failure-scenario", readText},
});

}  // namespace

ConfigInstanceMessageExtractor::ConfigInstanceMessageExtractor(
    std::shared_ptr<IWhiteAddressesListsStore> store, const std::string& apLocation,
    const std::string& interfaceName)
    : store_(std::move(store)), apLocation_(apLocation), interfaceName_(interfaceName) {}

const ConfigInstanceMessageExtractor::Entry& ConfigInstanceMessageExtractor::find(
    Part& part, const Entry& vap) {
    if (part.vap != vap) {
        part.vap = vap;
        part.object = nullptr;
        try {
            part.object = vap->getObjectValue(part.name);
        } catch (ENTRY_EXCEPTION_TYPE) {
            logger().Debug("Vap with not configured %s\n", part.name);
        }
    }
    return part.object;
}

template <class Value>
Value ConfigInstanceMessageExtractor::required(const Entry& object, const char* objectName,
                                               const char* key,
                                               Value (MessageEntry::*get)(const char*)) const {
    return requiredKey(key, "\"" + std::string(objectName) + "\" of interface " + interfaceName_,
                       [&] { return ((*object).*get)(key); });
}

template <class Value>
Value ConfigInstanceMessageExtractor::read(Part& part, const Entry& vap, const char* key,
                                           Value (MessageEntry::*get)(const char*),
                                           Value absent) const {
    const Entry& object = find(part, vap);
    return object ? required(object, part.name, key, get) : absent;
}

std::string ConfigInstanceMessageExtractor::extractSsid(Entry vap) {
    return required(vap, "vap", "ssid", &MessageEntry::getCharValue);
}

std::string ConfigInstanceMessageExtractor::extractMobilityDomain(Entry) {
    return apLocation_;
}

std::string ConfigInstanceMessageExtractor::extractVereficationMode(Entry vap) {
    return read(captivePortal_, vap, "verification-mode", &MessageEntry::getCharValue, {});
}

std::string ConfigInstanceMessageExtractor::extractRadiusDomain(Entry vap) {
    return read(radius_, vap, "domain", &MessageEntry::getCharValue, {});
}

std::pair<std::string, std::string> ConfigInstanceMessageExtractor::extractWhiteIpListId(
    Entry vap) {
    const std::string name =
        read(captivePortal_, vap, "default-white-list", &MessageEntry::getCharValue, {});
    if (name.empty()) {
        return {};
    }
    return {name, store_->getWhiteListHash(name)};
}

bool ConfigInstanceMessageExtractor::extractInstanceEnabled(Entry vap) {
    return read(captivePortal_, vap, "enabled", &MessageEntry::getBoolValue, false);
}

bool ConfigInstanceMessageExtractor::extractRadiusAccounting(Entry vap) {
    return read(captivePortal_, vap, "acct-enable", &MessageEntry::getBoolValue, false);
}

long ConfigInstanceMessageExtractor::extractAgeTimeout(Entry vap) {
    return read(captivePortal_, vap, "age-timeout", &MessageEntry::getIntValue, -1);
}

std::shared_ptr<MessageEntry> ConfigInstanceMessageExtractor::extractRadiusConfig(Entry vap) {
    return find(radius_, vap);
}

std::shared_ptr<ScenarioMessageExtractor> ConfigInstanceMessageExtractor::getScenarioExtractor() {
    return std::make_shared<WhiteListSupportScenarioExtractor>(store_, 0);
}

std::vector<ConfigInstanceMessageExtractor::Entry> ConfigInstanceMessageExtractor::extractScenarios(
    Entry vap) {
    return read(captivePortal_, vap, "scenarios", &MessageEntry::getArrayValue, {});
}

ConfigScenarioMessageExtractor::ConfigScenarioMessageExtractor(unsigned int index)
    : TableScenarioMessageExtractor(kScenario), nextId_(index) {
    logger().Debug("create extractor with index %d\n", static_cast<int>(index));
}

unsigned int ConfigScenarioMessageExtractor::extractID(Entry) {
    const unsigned int id = nextId_++;
    logger().Debug("Add scenario with id %d\n", static_cast<int>(id));
    return id;
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
