#include "portal/portal_configuration.h"

#include "core/fatal_error.h"
#include "core/logger.h"
#include "core/optional_value.h"
#include "core/required_key.h"
#include "portal/config_dialect.h"
#include "whitelist/white_addresses_list.h"

namespace vesta {
namespace {

using Entry = PortalConfiguration::Entry;

// Reads one part of an interface entry. False when it is missing, which `dropped` tells.
template <class Read>
bool readOrDrop(const char* dropped, Read read) {
    try {
        read();
        return true;
    } catch (ENTRY_EXCEPTION_TYPE) {
        logger().Debug("%s", dropped);
        return false;
    }
}

bool isEnabledVapInterface(const Entry& entry) {
    Entry common;
    std::string type;
    bool enabled = false;
    return readOrDrop("Interface without common, drop it\n",
                      [&] { common = entry->getObjectValue("common"); }) &&
           readOrDrop("Interface without type, drop it\n",
                      [&] { type = common->getCharValue("type"); }) &&
           readOrDrop("Interface without enabled, drop it\n",
                      [&] { enabled = common->getBoolValue("enabled"); }) &&
           type == "vap" && enabled;
}

// Null when the list can't be used.
std::shared_ptr<WhiteAddressesList> readWhiteList(WhiteListExtractor& extractor,
                                                  const Entry& list) {
    const std::string name =
        valueOr(std::string(), [&] { return extractor.extractWhiteListName(list); });
    if (name.empty()) {
        logger().Warning("White list without name, don't use it\n");
        return nullptr;
    }
    const std::string values =
        valueOr(std::string(), [&] { return extractor.extractWhiteListValue(list); });
    if (values.empty()) {
        logger().Warning("White list without values, don't use it\n");
        return nullptr;
    }
    return std::make_shared<WhiteAddressesList>(name, values);
}

}  // namespace

PortalConfiguration::PortalConfiguration(const Entry& document)
    : document_(document), section_(requiredKey("captive-portal", "the configuration", [&] {
          return document->getObjectValue("captive-portal");
      })) {}

PortalConfiguration::Lists PortalConfiguration::whiteLists() const {
    ConfigWhiteListExtractor extractor;
    std::vector<Entry> entries;
    try {
        entries = extractor.extractAllWhiteLists(section_);
    } catch (ENTRY_EXCEPTION_TYPE) {
        logger().Warning("Extract white list from message failed\n");
    }
    Lists lists;
    for (const Entry& entry : entries) {
        if (auto list = readWhiteList(extractor, entry)) {
            lists.push_back(std::move(list));
        }
    }
    if (lists.empty()) {
        logger().Warning("White list is empty, don't use it\n");
    }
    return lists;
}

std::string PortalConfiguration::uplinkInterface(const std::string& given) const {
    return given.empty() ? textOfSection("uplink-interface") : given;
}

std::string PortalConfiguration::apLocation(const std::string& given) const {
    return given.empty() ? textOfSection("ap-location") : given;
}

void PortalConfiguration::forEachEnabledVap(const VisitVap& visit) const {
    std::vector<Entry> entries;
    try {
        entries = document_->getArrayValue("interface");
    } catch (ENTRY_EXCEPTION_TYPE) {
        reportFatalError("Interfaces not configured\n");
        throw ENTRY_WRONG_TYPE;
    }
    for (const Entry& entry : entries) {
        if (isEnabledVapInterface(entry)) {
            visit(entry, requiredKey("vap", "interface " + nameForRecords(entry),
                                     [&] { return entry->getObjectValue("vap"); }));
        }
    }
}

std::string PortalConfiguration::nameOf(const Entry& entry) {
    return requiredKey("name", "interface " + nameForRecords(entry),
                       [&] { return entry->getCharValue("name"); });
}

std::string PortalConfiguration::nameForRecords(const Entry& entry) {
    return valueOr(std::string("(without name)"), [&] { return entry->getCharValue("name"); });
}

std::string PortalConfiguration::textOfSection(const char* key) const {
    return requiredKey(key, "section \"captive-portal\"",
                       [&] { return section_->getCharValue(key); });
}

}  // namespace vesta
