#pragma once

// Reads scenarios from the configuration document.

#include <memory>
#include <string>
#include <utility>

#include "messages/scenario_message_extractor.h"

namespace vesta {

class IWhiteAddressesListsStore;

class ConfigScenarioMessageExtractor : public ScenarioMessageExtractor {
public:
    // The first scenario read gets the id `index`, each later one the next.
    explicit ConfigScenarioMessageExtractor(unsigned int index);

    long extractExpireTime(Entry scenario) override;
    long long extractTxMaxBytes(Entry scenario) override;
    long long extractRxMaxBytes(Entry scenario) override;
    long long extractTrafficLimit(Entry scenario) override;
    long extractMaxSessionTime(Entry scenario) override;
    long extractAwayTimeout(Entry scenario) override;
    unsigned int extractID(Entry scenario) override;
    unsigned int extractTxMaxSpeed(Entry scenario) override;
    unsigned int extractRxMaxSpeed(Entry scenario) override;
    std::string extractAccessType(Entry scenario) override;
    std::string extractName(Entry scenario) override;
    std::string extractRedirectUrl(Entry scenario) override;
    std::string extractVirtualPortalName(Entry scenario) override;
    std::string extractAuthedScenario(Entry scenario) override;
    std::string extractDeauthScenario(Entry scenario) override;
    std::string extractMacAuthSuccessScenario(Entry scenario) override;
    std::string extractMacAuthFailScenario(Entry scenario) override;

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

}  // namespace vesta
