#pragma once

// Reads a scenario of a record. It has no name of its own: its raw id names it. The station's
// transmit speed stands under "bandwidth-max-down" and its receive speed under "bandwidth-max-up",
// as the writer puts them there. Stateless but for the store; any thread.

#include <memory>
#include <string>
#include <utility>

#include "messages/scenario_message_extractor.h"

namespace vesta {

class IWhiteAddressesListsStore;

class APBDScenarioMessageExtractor final : public ScenarioMessageExtractor {
public:
    explicit APBDScenarioMessageExtractor(std::shared_ptr<IWhiteAddressesListsStore> store)
        : store_(std::move(store)) {}

    // (name of the list, what the record holds), see resolvePermittedIp().
    std::pair<std::string, std::string> extractWhiteListId(Entry entry) override;
    long extractExpireTime(Entry entry) override;
    long long extractTrafficLimit(Entry entry) override;
    long extractMaxSessionTime(Entry entry) override;
    long extractAwayTimeout(Entry entry) override;
    unsigned int extractID(Entry entry) override;  // read 2 higher
    unsigned int extractTxMaxSpeed(Entry entry) override;
    unsigned int extractRxMaxSpeed(Entry entry) override;
    // "forbid" with a URL, "allow" with an empty one or none; a URL that is no text throws.
    std::string extractAccessType(Entry entry) override;
    std::string extractName(Entry entry) override;
    std::string extractRedirectUrl(Entry entry) override;

private:
    std::shared_ptr<IWhiteAddressesListsStore> store_;
};

}  // namespace vesta
