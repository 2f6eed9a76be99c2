#pragma once

// Reads what apbd says about an instance: to which one it applies (the mobility-domain part), and
// its default white list. The part is the object "mobility-domain", else the first element of
// "mobility-domain-list", else the entry itself where it holds the text "mobility-domain".
// Stateless but for the store; any thread.

#include <memory>
#include <string>
#include <utility>

#include "messages/portal_instance_message_extractor.h"

namespace vesta {

class IWhiteAddressesListsStore;

class APBPortalInstanceMessageExtractor final : public PortalInstanceMessageExtractor {
public:
    explicit APBPortalInstanceMessageExtractor(std::shared_ptr<IWhiteAddressesListsStore> store)
        : store_(std::move(store)) {}

    // Each "" when missing.
    std::string extractSsid(Entry entry) override;
    std::string extractMobilityDomain(Entry entry) override;
    std::string extractRadiusDomain(Entry entry) override;
    // (name of the list, what apbd sent), see resolvePermittedIp(); ("", "") without a list.
    std::pair<std::string, std::string> extractWhiteIpListId(Entry entry) override;
    std::shared_ptr<ScenarioMessageExtractor> getScenarioExtractor() override;

    // Null, with a record in the log, when the entry has none.
    static Entry getMobilityDomainPart(const Entry& entry);

private:
    std::shared_ptr<IWhiteAddressesListsStore> store_;
};

}  // namespace vesta
