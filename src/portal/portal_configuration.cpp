// How the portal builds its instances from the configuration document.

#include "core/fatal_error.h"
#include "core/logger.h"
#include "core/required_key.h"
#include "inform/ostrel_wifi_auth_informator.h"
#include "inform/trap_informator.h"
#include "kernel/kernel_white_list_store.h"
#include "kernel/redirector_module_worker.h"
#include "portal/config_instance_message_extractor.h"
#include "portal/config_white_list_extractor.h"
#include "portal/portal.h"
#include "portal/portal_instance_factory.h"
#include "whitelist/white_addresses_list.h"

namespace vesta {
namespace {

using Entry = std::shared_ptr<MessageEntry>;

const char* const kSectionName = "section \"captive-portal\"";

// Reads one optional part of an interface entry; `dropped` tells that the entry goes without it.
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

// The entry's name for records about it, also when it has none.
std::string nameForRecords(const Entry& entry) {
    try {
        return entry->getCharValue("name");
    } catch (ENTRY_EXCEPTION_TYPE) {
        return "(without name)";
    }
}

// The text that `read()` gives; "" when there is none.
template <class Read>
std::string textOrEmpty(Read read) {
    try {
        return read();
    } catch (ENTRY_EXCEPTION_TYPE) {
        return "";
    }
}

}  // namespace

void Portal::readConfiguration(const std::shared_ptr<MessageEntry>& config,
                               const std::string& uplink, const std::string& apLocation) {
    const Entry section = requiredKey("captive-portal", "the configuration",
                                      [&] { return config->getObjectValue("captive-portal"); });
    ConfigWhiteListExtractor whiteLists;
    addWhiteIpLists(section, whiteLists);
    uplink_ = !uplink.empty() ? uplink : requiredKey("uplink-interface", kSectionName, [&] {
        return section->getCharValue("uplink-interface");
    });
    apLocation_ = !apLocation.empty() ? apLocation : requiredKey("ap-location", kSectionName, [&] {
        return section->getCharValue("ap-location");
    });
    initInterfces(config);
}

void Portal::initInterfces(const std::shared_ptr<MessageEntry>& config) {
    const std::vector<std::shared_ptr<Informator>> informators{
        redirectorWorker_, std::make_shared<TrapInformator>(ipc_),
        std::make_shared<OstrelWifiAuthInformator>()};
    std::vector<Entry> entries;
    try {
        entries = config->getArrayValue("interface");
    } catch (ENTRY_EXCEPTION_TYPE) {
        reportFatalError("Interfaces not configured\n");
        throw ENTRY_WRONG_TYPE;
    }
    for (const Entry& entry : entries) {
        if (isEnabledVapInterface(entry)) {
            addInstance(entry, informators);
        }
    }
}

void Portal::addInstance(const std::shared_ptr<MessageEntry>& entry,
                         const std::vector<std::shared_ptr<Informator>>& informators) {
    const std::string object = "interface " + nameForRecords(entry);
    const Entry vap = requiredKey("vap", object, [&] { return entry->getObjectValue("vap"); });
    const auto extractor = std::make_shared<ConfigInstanceMessageExtractor>(
        whiteListStore_, apLocation_, nameForRecords(entry));
    if (!extractor->extractInstanceEnabled(vap)) {
        return;
    }
    const std::string name =
        requiredKey("name", object, [&] { return entry->getCharValue("name"); });
    const Instance holder =
        PortalInstanceFactory::buildThreadsafePortalInstanceHolder(name, uplink_, vap, extractor);
    for (const std::shared_ptr<Informator>& informator : informators) {
        holder->addClientsEventsInformator(informator);
    }
    instances_.push_back(holder);
    configuredDefaults_.push_back(extractor->extractWhiteIpListId(vap));
}

void Portal::addWhiteIpLists(const std::shared_ptr<MessageEntry>& section,
                             WhiteListExtractor& extractor) {
    std::vector<Entry> lists;
    try {
        lists = extractor.extractAllWhiteLists(section);
    } catch (ENTRY_EXCEPTION_TYPE) {
        logger().Warning("Extract white list from message failed\n");
    }
    for (const Entry& list : lists) {
        const std::string name = textOrEmpty([&] { return extractor.extractWhiteListName(list); });
        if (name.empty()) {
            logger().Warning("White list without name, don't use it\n");
            continue;
        }
        const std::string values =
            textOrEmpty([&] { return extractor.extractWhiteListValue(list); });
        if (values.empty()) {
            logger().Warning("White list without values, don't use it\n");
            continue;
        }
        configuredLists_.push_back(std::make_shared<WhiteAddressesList>(name, values));
    }
    if (configuredLists_.empty()) {
        logger().Warning("White list is empty, don't use it\n");
    }
    whiteListStore_->addWhiteLists(configuredLists_);
}

}  // namespace vesta
