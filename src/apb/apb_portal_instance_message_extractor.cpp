#include "apb/apb_portal_instance_message_extractor.h"

#include "apb/apbd_scenario_message_extractor.h"
#include "core/logger.h"
#include "whitelist/permitted_ip.h"

namespace vesta {
namespace {

using Entry = PortalInstanceMessageExtractor::Entry;

constexpr const char* kMobilityDomain = "mobility-domain";

std::string textOrEmpty(const Entry& entry, const char* key) {
    try {
        return entry != nullptr ? entry->getCharValue(key) : "";
    } catch (ENTRY_EXCEPTION_TYPE) {
        return "";
    }
}

bool holdsText(const Entry& entry, const char* key) {
    try {
        static_cast<void>(entry->getCharValue(key));
        return true;
    } catch (ENTRY_EXCEPTION_TYPE) {
        return false;
    }
}

Entry objectOrNull(const Entry& entry, const char* key) {
    try {
        return entry->getObjectValue(key);
    } catch (ENTRY_EXCEPTION_TYPE) {
        return nullptr;
    }
}

Entry firstOrNull(const Entry& entry, const char* key) {
    try {
        const std::vector<Entry> elements = entry->getArrayValue(key);
        return elements.empty() ? nullptr : elements.front();
    } catch (ENTRY_EXCEPTION_TYPE) {
        return nullptr;
    }
}

}  // namespace

Entry APBPortalInstanceMessageExtractor::getMobilityDomainPart(const Entry& entry) {
    if (Entry part = objectOrNull(entry, kMobilityDomain)) {
        return part;
    }
    if (Entry part = firstOrNull(entry, "mobility-domain-list")) {
        return part;
    }
    if (holdsText(entry, kMobilityDomain)) {
        return entry;
    }
    logger().Debug("Apb instance part without instance part from:\n'%s'\n",
                   entry->getStringRepresentation());
    return nullptr;
}

std::string APBPortalInstanceMessageExtractor::extractSsid(Entry entry) {
    return textOrEmpty(getMobilityDomainPart(entry), "ssid");
}

std::string APBPortalInstanceMessageExtractor::extractMobilityDomain(Entry entry) {
    return textOrEmpty(getMobilityDomainPart(entry), kMobilityDomain);
}

std::string APBPortalInstanceMessageExtractor::extractRadiusDomain(Entry entry) {
    return textOrEmpty(getMobilityDomainPart(entry), "radius-domain");
}

std::pair<std::string, std::string> APBPortalInstanceMessageExtractor::extractWhiteIpListId(
    Entry entry) {
    return resolvePermittedIp(*store_, textOrEmpty(entry, "permitted-ip"));
}

std::shared_ptr<ScenarioMessageExtractor>
APBPortalInstanceMessageExtractor::getScenarioExtractor() {
    return std::make_shared<APBDScenarioMessageExtractor>(store_);
}

}  // namespace vesta
