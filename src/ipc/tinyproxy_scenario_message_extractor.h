#pragma once

// Reads a scenario, or the limits of one, as the proxy sends it. "time_limit" and "session_timeout"
// are the proxy's spellings. One thread at a time.

#include <memory>
#include <string>
#include <utility>

#include "messages/scenario_message_extractor.h"

namespace vesta {

class IWhiteAddressesListsStore;

class TinyproxyScenarioMessageExtractor final : public ScenarioMessageExtractor {
public:
    explicit TinyproxyScenarioMessageExtractor(std::shared_ptr<IWhiteAddressesListsStore> store);

    // (name of the list, what the proxy sent) of "permitted-ip", which is either the hash of a list
    // that the proxy has announced, or the values of a list, which is then put into the store.
    std::pair<std::string, std::string> extractWhiteListId(Entry entry) override;
    long extractExpireTime(Entry entry) override;
    long long extractTrafficLimit(Entry entry) override;
    long extractMaxSessionTime(Entry entry) override;
    long extractAwayTimeout(Entry entry) override;
    unsigned int extractTxMaxSpeed(Entry entry) override;
    unsigned int extractRxMaxSpeed(Entry entry) override;
    std::string extractAccessType(Entry entry) override;
    std::string extractName(Entry entry) override;
    std::string extractRedirectUrl(Entry entry) override;

private:
    std::shared_ptr<IWhiteAddressesListsStore> store_;
};

}  // namespace vesta
