#pragma once

// A sequence that also takes orders: from the web portal, or from another access point.

#include <memory>
#include <string>
#include <vector>

#include "scenario/scenario_sequence.h"

namespace vesta {

class ManageableScenarioSequence final : public ScenarioSequence {
public:
    ManageableScenarioSequence(Messages& messages,
                               std::shared_ptr<ScenarioMessageExtractor> extractor);
    explicit ManageableScenarioSequence(const ScenarioSequence& other);

    bool appendScenarios(std::vector<std::shared_ptr<Scenario>>& scenarios) override;
    bool setCurrentScenario(unsigned int id, unsigned int syncTime) override;
    bool setCurrentScenario(const std::string& name) override;
    void updateScenarioConstraints(AccessScenarioConstraints& newLimits) override;

private:
    // By name.
    [[nodiscard]] bool isScenarioAlreadyExsist(const std::shared_ptr<Scenario>& scenario) const;
};

}  // namespace vesta
