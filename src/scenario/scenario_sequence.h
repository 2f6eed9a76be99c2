#pragma once

// The scenarios that one client walks through, in order, and which one is in force. This plain
// sequence moves only by the rules of its scenarios; ManageableScenarioSequence also takes orders
// from outside. A sequence always holds at least one scenario.
//
// Threads: no lock; reached only through the client that owns it.

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "core/message_entry.h"
#include "station/client_statistic_info.h"

namespace vesta {

class AccessScenarioConstraints;
class Scenario;
class ScenarioMessageExtractor;
class ScenarioMessageFactory;

class ScenarioSequence {
public:
    using Messages = std::vector<std::shared_ptr<MessageEntry>>;

    // Scenarios without a valid access type are skipped. Throws ENTRY_NOT_FOUND when none is left.
    ScenarioSequence(Messages& messages, std::shared_ptr<ScenarioMessageExtractor> extractor);
    // A copy of every scenario: nothing of their state is shared.
    ScenarioSequence(const ScenarioSequence& other);
    virtual ~ScenarioSequence() = default;
    ScenarioSequence& operator=(const ScenarioSequence&) = delete;

    // Adds the names of the white lists of all scenarios.
    void collectWhiteLists(std::set<std::string>& names) const;

    // Four orders from outside, which a plain sequence refuses (false). This one takes scenarios
    // whose names the sequence holds already out of the caller's list, numbers the others on from
    // its last id, and appends copies of them.
    virtual bool appendScenarios(std::vector<std::shared_ptr<Scenario>>& scenarios);
    // `syncTime`: the seconds of session already spent in it at another access point.
    virtual bool setCurrentScenario(unsigned int id, unsigned int syncTime);
    virtual bool setCurrentScenario(const std::string& name);
    // Of the current scenario only.
    virtual void updateScenarioConstraints(AccessScenarioConstraints& newLimits);

    [[nodiscard]] const std::shared_ptr<Scenario>& getCurrent() const {
        return scenarios_[current_];
    }
    [[nodiscard]] unsigned int getCount() const {
        return static_cast<unsigned int>(scenarios_.size());
    }
    // Whether no scenario has the id after the current one's.
    [[nodiscard]] bool isCurrentScenarioLast() const;
    // Whether the current scenario stands behind the first redirect scenario.
    [[nodiscard]] bool firstRedirectPassed() const;
    // The virtual portal of the first redirect scenario, "" when there is none.
    [[nodiscard]] std::string getFristRedirectPortalName() const;
    // (expire reason, statistics) of the scenario before the current one, or of the last one when
    // the first is current.
    [[nodiscard]] std::pair<std::string, ClientStatisticInfo> getExpireInfo() const;
    // Clears the reason of that scenario; false when its kind has none.
    bool clearExpireInfo();

    // The moves return whether a scenario was entered. To the scenario with the next id, which a
    // plain sequence never enters:
    bool switchScenario();
    // To the first scenario of that name:
    bool changeScenario(const std::string& name);
    // To the scenario that the current one names for the event, else to the one with the next id:
    bool set_auth_scenario_client();
    bool set_deauth_scenario_client();
    bool setMacAuthSuccessScenario();
    bool setMacAuthFailureScenario();

    // All scenarios; those behind the access point's own; the current one.
    [[nodiscard]] Messages dumpToMessages(const std::shared_ptr<ScenarioMessageFactory>&) const;
    [[nodiscard]] Messages dumpActualToMessages(
        const std::shared_ptr<ScenarioMessageFactory>&) const;
    [[nodiscard]] Messages dumpCurrentToMessages(
        const std::shared_ptr<ScenarioMessageFactory>&) const;

protected:
    void addScenarios(Messages& messages, const std::shared_ptr<ScenarioMessageExtractor>&);
    void enter(std::size_t index, unsigned int syncTime);

    std::vector<std::shared_ptr<Scenario>> scenarios_;

private:
    [[nodiscard]] Messages dumpFrom(std::size_t index,
                                    const std::shared_ptr<ScenarioMessageFactory>&) const;
    [[nodiscard]] std::size_t firstRedirect() const;
    [[nodiscard]] Scenario& expiredScenario() const;
    bool moveTo(const std::string& name);

    std::uint32_t current_ = 0;
};

}  // namespace vesta
