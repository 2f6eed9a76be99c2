#pragma once

// Reads a portal instance from the configuration document's "vap" objects. A VAP without a
// "captive-portal" or "radius" object gives the neutral values; a key that is missing inside one of
// them is logged and thrown as ENTRY_EXCEPTION_TYPE.

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "messages/portal_instance_message_extractor.h"

namespace vesta {

class IWhiteAddressesListsStore;

class ConfigInstanceMessageExtractor final : public PortalInstanceMessageExtractor {
public:
    // `interfaceName` names the VAP in records about missing keys.
    ConfigInstanceMessageExtractor(std::shared_ptr<IWhiteAddressesListsStore> store,
                                   const std::string& apLocation,
                                   const std::string& interfaceName = "");

    std::string extractSsid(Entry vap) override;
    std::string extractMobilityDomain(Entry vap) override;
    std::string extractVereficationMode(Entry vap) override;
    std::string extractRadiusDomain(Entry vap) override;
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
        Entry vap;
        Entry object;
    };

    Entry part(Part& cache, const Entry& vap, const char* key);
    Entry captivePortal(const Entry& vap) { return part(captivePortal_, vap, "captive-portal"); }
    Entry radius(const Entry& vap) { return part(radius_, vap, "radius"); }
    [[nodiscard]] std::string objectName(const char* part) const;

    std::shared_ptr<IWhiteAddressesListsStore> store_;
    std::string apLocation_;
    std::string interfaceName_;
    Part captivePortal_;
    Part radius_;
};

}  // namespace vesta
