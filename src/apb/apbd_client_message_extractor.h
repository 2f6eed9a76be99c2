#pragma once

// Reads a station's record as another access point wrote it. Stateless but for the store; any
// thread.

#include <memory>
#include <string>
#include <vector>

#include "messages/client_message_extractor.h"

namespace vesta {

class IWhiteAddressesListsStore;

class APBDClientMessageExtractor final : public ClientMessageExtractor {
public:
    // White lists of the record's scenarios are looked up in, and put into, `store`.
    explicit APBDClientMessageExtractor(std::shared_ptr<IWhiteAddressesListsStore> store)
        : store_(std::move(store)) {}

    std::shared_ptr<ScenarioMessageExtractor> getScenarioExtractor() override;
    std::string extractMac(Entry entry) override;
    std::string extractIp(Entry entry) override;
    std::string extractSsid(Entry entry) override;
    std::string extractLogin(Entry entry) override;
    std::string extractRadiusDomain(Entry entry) override;
    std::string extractMobilDomain(Entry entry) override;
    unsigned int extractCurrentScenarioId(Entry entry) override;  // read 2 higher
    long extractSessionTime(Entry entry) override;
    long extractTimeLimit(Entry entry) override;
    long long extractTrafficLimit(Entry entry) override;
    std::vector<Entry> extractScenarios(Entry entry) override;

private:
    std::shared_ptr<IWhiteAddressesListsStore> store_;
};

}  // namespace vesta
