#pragma once

// Reads scenarios after a table. A dialect is a class that hands over its table, and overrides what
// no table can say.

#include "messages/dialect_table.h"
#include "messages/scenario_message_extractor.h"

namespace vesta {

// What is read of a scenario; see ScenarioMessageExtractor.
enum class ScenarioSource {
    expireTime,
    txMaxBytes,
    rxMaxBytes,
    trafficLimit,
    maxSessionTime,
    awayTimeout,
    id,
    txMaxSpeed,
    rxMaxSpeed,
    accessType,
    name,
    redirectUrl,
    virtualPortalName,
    authedScenario,
    deauthScenario,
    macAuthSuccessScenario,
    macAuthFailScenario,
    count
};

class TableScenarioMessageExtractor : public ScenarioMessageExtractor {
public:
    using Source = ScenarioSource;
    using Table = DialectTable<Source, Reader>;

    // `table` must outlive the extractor.
    explicit TableScenarioMessageExtractor(const Table& table) : table_(table) {}

    long extractExpireTime(Entry scenario) override { return number(scenario, Source::expireTime); }
    long long extractTxMaxBytes(Entry scenario) override {
        return bytes(scenario, Source::txMaxBytes);
    }
    long long extractRxMaxBytes(Entry scenario) override {
        return bytes(scenario, Source::rxMaxBytes);
    }
    long long extractTrafficLimit(Entry scenario) override {
        return bytes(scenario, Source::trafficLimit);
    }
    long extractMaxSessionTime(Entry scenario) override {
        return number(scenario, Source::maxSessionTime);
    }
    long extractAwayTimeout(Entry scenario) override {
        return number(scenario, Source::awayTimeout);
    }
    unsigned int extractID(Entry scenario) override {
        return static_cast<unsigned int>(number(scenario, Source::id));
    }
    unsigned int extractTxMaxSpeed(Entry scenario) override {
        return static_cast<unsigned int>(number(scenario, Source::txMaxSpeed));
    }
    unsigned int extractRxMaxSpeed(Entry scenario) override {
        return static_cast<unsigned int>(number(scenario, Source::rxMaxSpeed));
    }
    std::string extractAccessType(Entry scenario) override {
        return text(scenario, Source::accessType);
    }
    std::string extractName(Entry scenario) override { return text(scenario, Source::name); }
    std::string extractRedirectUrl(Entry scenario) override {
        return text(scenario, Source::redirectUrl);
    }
    std::string extractVirtualPortalName(Entry scenario) override {
        return text(scenario, Source::virtualPortalName);
    }
    std::string extractAuthedScenario(Entry scenario) override {
        return text(scenario, Source::authedScenario);
    }
    std::string extractDeauthScenario(Entry scenario) override {
        return text(scenario, Source::deauthScenario);
    }
    std::string extractMacAuthSuccessScenario(Entry scenario) override {
        return text(scenario, Source::macAuthSuccessScenario);
    }
    std::string extractMacAuthFailScenario(Entry scenario) override {
        return text(scenario, Source::macAuthFailScenario);
    }

private:
    [[nodiscard]] ReadValue read(const Entry& scenario, Source source) const {
        const auto& row = table_[source];
        return row.key != nullptr ? row.convert(*scenario, row.key) : ReadValue{};
    }
    [[nodiscard]] int number(const Entry& scenario, Source source) const {
        return static_cast<int>(read(scenario, source).number);
    }
    [[nodiscard]] long long bytes(const Entry& scenario, Source source) const {
        return read(scenario, source).number;
    }
    [[nodiscard]] std::string text(const Entry& scenario, Source source) const {
        return read(scenario, source).text;
    }

    const Table& table_;
};

}  // namespace vesta
