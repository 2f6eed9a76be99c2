#include "portal/config_instance_message_extractor.h"

#include "core/logger.h"
#include "core/required_key.h"
#include "portal/config_scenario_message_extractor.h"
#include "whitelist/white_lists_store.h"

namespace vesta {

ConfigInstanceMessageExtractor::ConfigInstanceMessageExtractor(
    std::shared_ptr<IWhiteAddressesListsStore> store, const std::string& apLocation,
    const std::string& interfaceName)
    : store_(std::move(store)), apLocation_(apLocation), interfaceName_(interfaceName) {}

std::string ConfigInstanceMessageExtractor::extractSsid(Entry vap) {
    return requiredKey("ssid", objectName("vap"), [&] { return vap->getCharValue("ssid"); });
}

std::string ConfigInstanceMessageExtractor::extractMobilityDomain(Entry) {
    return apLocation_;
}

std::string ConfigInstanceMessageExtractor::extractVereficationMode(Entry vap) {
    const Entry portal = captivePortal(vap);
    if (!portal) {
        return "";
    }
    return requiredKey("verification-mode", objectName("captive-portal"),
                       [&] { return portal->getCharValue("verification-mode"); });
}

std::string ConfigInstanceMessageExtractor::extractRadiusDomain(Entry vap) {
    const Entry radiusPart = radius(vap);
    if (!radiusPart) {
        return "";
    }
    return requiredKey("domain", objectName("radius"),
                       [&] { return radiusPart->getCharValue("domain"); });
}

std::pair<std::string, std::string> ConfigInstanceMessageExtractor::extractWhiteIpListId(
    Entry vap) {
    const Entry portal = captivePortal(vap);
    if (!portal) {
        return {};
    }
    const std::string name = requiredKey("default-white-list", objectName("captive-portal"), [&] {
        return portal->getCharValue("default-white-list");
    });
    if (name.empty()) {
        return {};
    }
    return {name, store_->getWhiteListHash(name)};
}

bool ConfigInstanceMessageExtractor::extractInstanceEnabled(Entry vap) {
    const Entry portal = captivePortal(vap);
    return portal && requiredKey("enabled", objectName("captive-portal"),
                                 [&] { return portal->getBoolValue("enabled"); });
}

bool ConfigInstanceMessageExtractor::extractRadiusAccounting(Entry vap) {
    const Entry portal = captivePortal(vap);
    return portal && requiredKey("acct-enable", objectName("captive-portal"),
                                 [&] { return portal->getBoolValue("acct-enable"); });
}

long ConfigInstanceMessageExtractor::extractAgeTimeout(Entry vap) {
    const Entry portal = captivePortal(vap);
    if (!portal) {
        return -1;
    }
    return requiredKey("age-timeout", objectName("captive-portal"),
                       [&] { return portal->getIntValue("age-timeout"); });
}

std::shared_ptr<MessageEntry> ConfigInstanceMessageExtractor::extractRadiusConfig(Entry vap) {
    return radius(vap);
}

std::shared_ptr<ScenarioMessageExtractor> ConfigInstanceMessageExtractor::getScenarioExtractor() {
    return std::make_shared<WhiteListSupportScenarioExtractor>(store_, 0);
}

std::vector<ConfigInstanceMessageExtractor::Entry> ConfigInstanceMessageExtractor::extractScenarios(
    Entry vap) {
    const Entry portal = captivePortal(vap);
    if (!portal) {
        return {};
    }
    return requiredKey("scenarios", objectName("captive-portal"),
                       [&] { return portal->getArrayValue("scenarios"); });
}

ConfigInstanceMessageExtractor::Entry ConfigInstanceMessageExtractor::part(Part& cache,
                                                                           const Entry& vap,
                                                                           const char* key) {
    if (cache.vap != vap) {
        Entry object;
        try {
            object = vap->getObjectValue(key);
        } catch (ENTRY_EXCEPTION_TYPE) {
            logger().Debug("Vap with not configured %s\n", key);
        }
        cache = {vap, object};
    }
    return cache.object;
}

std::string ConfigInstanceMessageExtractor::objectName(const char* part) const {
    return "\"" + std::string(part) + "\" of interface " + interfaceName_;
}

}  // namespace vesta
