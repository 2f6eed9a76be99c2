#pragma once

// Scenarios from short JSON texts, in a dialect with short keys.

#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/json_entry.h"
#include "messages/table_scenario_extractor.h"
#include "scenario/scenario.h"
#include "scenario/scenario_factory.h"

namespace vesta::testing {

inline constexpr TableScenarioMessageExtractor::Table kKeyedScenario({
    {ScenarioSource::id, "id", readNumber},
    {ScenarioSource::accessType, "type", readText},
    {ScenarioSource::name, "name", readText},
    {ScenarioSource::redirectUrl, "url", readText},
    {ScenarioSource::virtualPortalName, "portal", readText},
    {ScenarioSource::expireTime, "time", readNumber},
    {ScenarioSource::maxSessionTime, "session", readNumber},
    {ScenarioSource::awayTimeout, "away", readNumber},
    {ScenarioSource::trafficLimit, "traffic", readNumber},
    {ScenarioSource::txMaxBytes, "tx-bytes", readNumber},
    {ScenarioSource::rxMaxBytes, "rx-bytes", readNumber},
    {ScenarioSource::txMaxSpeed, "tx-speed", readNumber},
    {ScenarioSource::rxMaxSpeed, "rx-speed", readNumber},
    {ScenarioSource::authedScenario, "auth", readText},
    {ScenarioSource::deauthScenario, "deauth", readText},
    {ScenarioSource::macAuthSuccessScenario, "good", readText},
    {ScenarioSource::macAuthFailScenario, "bad", readText},
});

class KeyedScenarios final : public TableScenarioMessageExtractor {
public:
    KeyedScenarios() : TableScenarioMessageExtractor(kKeyedScenario) {}

    std::pair<std::string, std::string> extractWhiteListId(Entry scenario) override {
        return {scenario->getCharValue("white-list"), scenario->getCharValue("white-list-data")};
    }
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
