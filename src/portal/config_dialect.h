#pragma once

// Reads portal instances, scenarios and white lists from the configuration document; what the keys
// mean is in docs/configuration.md.
//
// Threads: one thread at a time.

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "messages/portal_instance_messages.h"
#include "messages/table_scenario_extractor.h"

namespace vesta {

class IWhiteAddressesListsStore;

// Reads the "vap" objects. A VAP without a "captive-portal" or "radius" object gives the neutral
// values; a key that is missing inside one of them is logged and thrown as ENTRY_EXCEPTION_TYPE.
class ConfigInstanceMessageExtractor final : public PortalInstanceMessageExtractor {
public:
    // `interfaceName` names the VAP in records about missing keys.
    ConfigInstanceMessageExtractor(std::shared_ptr<IWhiteAddressesListsStore> store,
                                   const std::string& apLocation,
                                   const std::string& interfaceName = "");

    std::string extractSsid(Entry vap) override;
    // The AP location; nothing is read.
    std::string extractMobilityDomain(Entry vap) override;
    std::string extractVereficationMode(Entry vap) override;
    std::string extractRadiusDomain(Entry vap) override;
    // (name of the default white list, hash of the stored list of that name)
    std::pair<std::string, std::string> extractWhiteIpListId(Entry vap) override;
    bool extractInstanceEnabled(Entry vap) override;
    bool extractRadiusAccounting(Entry vap) override;
    long extractAgeTimeout(Entry vap) override;
    // Null when the VAP has no "radius" object.
    std::shared_ptr<MessageEntry> extractRadiusConfig(Entry vap) override;
    // A fresh one for each scenario list: its ids count from 0 in the list's order.
    std::shared_ptr<ScenarioMessageExtractor> getScenarioExtractor() override;
    std::vector<Entry> extractScenarios(Entry vap) override;

private:
    // One object of the last VAP seen; null when that VAP has none.
    struct Part {
        const char* name;
        Entry vap = nullptr;
        Entry object = nullptr;
    };

    static const Entry& find(Part& part, const Entry& vap);
    template <class Value>
    Value required(const Entry& object, const char* objectName, const char* key,
                   Value (MessageEntry::*get)(const char*)) const;
    // `absent` where the VAP has no such part.
    template <class Value>
    Value read(Part& part, const Entry& vap, const char* key,
               Value (MessageEntry::*get)(const char*), Value absent) const;

    std::shared_ptr<IWhiteAddressesListsStore> store_;
    std::string apLocation_;
    std::string interfaceName_;
    Part captivePortal_{"captive-portal"};
    Part radius_{"radius"};
};

class ConfigScenarioMessageExtractor : public TableScenarioMessageExtractor {
public:
    // The first scenario read gets the id `index`, each later one the next.
    explicit ConfigScenarioMessageExtractor(unsigned int index);

    unsigned int extractID(Entry scenario) override;

private:
    unsigned int nextId_;
};

class WhiteListSupportScenarioExtractor final : public ConfigScenarioMessageExtractor {
public:
    WhiteListSupportScenarioExtractor(std::shared_ptr<IWhiteAddressesListsStore> store,
                                      unsigned int index);

    // (name, hash of the stored list of that name, "" when there is none)
    std::pair<std::string, std::string> extractWhiteListId(Entry scenario) override;

private:
    std::shared_ptr<IWhiteAddressesListsStore> store_;
};

// Reads the white lists of the section "captive-portal".
class ConfigWhiteListExtractor final : public WhiteListExtractor {
public:
    std::vector<Entry> extractAllWhiteLists(Entry section) override {
        return section->getArrayValue("white-list");
    }
    std::string extractWhiteListName(Entry list) override { return list->getCharValue("name"); }
    std::string extractWhiteListValue(Entry list) override { return list->getCharValue("values"); }
};

}  // namespace vesta
