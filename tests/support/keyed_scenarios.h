#pragma once

// Scenarios from short JSON texts: every property under the name of its extractor operation's
// subject ("id", "type", "name", "url", "portal", "auth", "deauth", ...).

#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/json_entry.h"
#include "messages/scenario_message_extractor.h"
#include "scenario/scenario.h"
#include "scenario/scenario_factory.h"

namespace vesta::testing {

class KeyedScenarios final : public ScenarioMessageExtractor {
public:
    std::pair<std::string, std::string> extractWhiteListId(Entry m) override {
        return {m->getCharValue("white-list"), m->getCharValue("white-list-data")};
    }
    long extractExpireTime(Entry m) override { return m->getIntValue("time"); }
    long long extractTxMaxBytes(Entry m) override { return m->getIntValue("tx-bytes"); }
    long long extractRxMaxBytes(Entry m) override { return m->getIntValue("rx-bytes"); }
    long long extractTrafficLimit(Entry m) override { return m->getIntValue("traffic"); }
    long extractMaxSessionTime(Entry m) override { return m->getIntValue("session"); }
    long extractAwayTimeout(Entry m) override { return m->getIntValue("away"); }
    unsigned int extractID(Entry m) override {
        return static_cast<unsigned int>(m->getIntValue("id"));
    }
    unsigned int extractTxMaxSpeed(Entry m) override {
        return static_cast<unsigned int>(m->getIntValue("tx-speed"));
    }
    unsigned int extractRxMaxSpeed(Entry m) override {
        return static_cast<unsigned int>(m->getIntValue("rx-speed"));
    }
    std::string extractAccessType(Entry m) override { return m->getCharValue("type"); }
    std::string extractName(Entry m) override { return m->getCharValue("name"); }
    std::string extractRedirectUrl(Entry m) override { return m->getCharValue("url"); }
    std::string extractVirtualPortalName(Entry m) override { return m->getCharValue("portal"); }
    std::string extractAuthedScenario(Entry m) override { return m->getCharValue("auth"); }
    std::string extractDeauthScenario(Entry m) override { return m->getCharValue("deauth"); }
    std::string extractMacAuthSuccessScenario(Entry m) override { return m->getCharValue("good"); }
    std::string extractMacAuthFailScenario(Entry m) override { return m->getCharValue("bad"); }
};

inline std::vector<std::shared_ptr<MessageEntry>> messages(
    std::initializer_list<const char*> texts) {
    std::vector<std::shared_ptr<MessageEntry>> list;
    for (const char* const text : texts) {
        list.push_back(std::make_shared<JsonEntry>(text));
    }
    return list;
}

inline std::shared_ptr<Scenario> scenario(const char* text) {
    return ScenarioFactory::buildScenario(std::make_shared<JsonEntry>(text),
                                          std::make_shared<KeyedScenarios>());
}

// A sequence of the given class.
template <class Sequence>
std::unique_ptr<Sequence> sequence(std::initializer_list<const char*> texts) {
    auto list = messages(texts);
    return std::make_unique<Sequence>(list, std::make_shared<KeyedScenarios>());
}

}  // namespace vesta::testing
