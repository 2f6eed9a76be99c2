#include "scenario/manageable_scenario_sequence.h"

#include <algorithm>

#include "core/logger.h"
#include "scenario/scenario.h"

namespace vesta {
namespace {

// Stand in log records behind the name of the operation.
constexpr int kUnknownIdRecord = 44;
constexpr int kKnownNameRecord = 65;

}  // namespace

ManageableScenarioSequence::ManageableScenarioSequence(
    Messages& messages, std::shared_ptr<ScenarioMessageExtractor> extractor)
    : ScenarioSequence(messages, std::move(extractor)) {
    logger().Debug("Create managed sequence with extractor\n");
}

ManageableScenarioSequence::ManageableScenarioSequence(const ScenarioSequence& other)
    : ScenarioSequence(other) {}

bool ManageableScenarioSequence::appendScenarios(
    std::vector<std::shared_ptr<Scenario>>& scenarios) {
    scenarios.erase(
        std::remove_if(scenarios.begin(), scenarios.end(),
                       [this](const auto& scenario) { return isScenarioAlreadyExsist(scenario); }),
        scenarios.end());
    std::uint32_t id = scenarios_.back()->getId();
    for (const std::shared_ptr<Scenario>& scenario : scenarios) {
        scenario->setId(++id);
        // The caller may offer the same scenarios to other clients.
        scenarios_.push_back(scenario->getSenarioCopy());
    }
    return true;
}

bool ManageableScenarioSequence::setCurrentScenario(unsigned int id, unsigned int syncTime) {
    for (std::size_t index = 0; index < scenarios_.size(); ++index) {
        if (scenarios_[index]->getId() == id) {
            enter(index, syncTime);
            logger().Debug("Scenario was changed by ID %d to %d (name %s)\n", static_cast<int>(id),
                           static_cast<int>(index), scenarios_[index]->getScenarioName().c_str());
            return true;
        }
    }
    logger().Error("%s,%d,Try to set scenario with id %d, but not found it\n", "setCurrentScenario",
                   kUnknownIdRecord, static_cast<int>(id));
    return false;
}

bool ManageableScenarioSequence::setCurrentScenario(const std::string& name) {
    return changeScenario(name);
}

void ManageableScenarioSequence::updateScenarioConstraints(AccessScenarioConstraints& newLimits) {
    logger().Debug("Apply constraints changes\n");
    getCurrent()->updateScenarioConstraints(newLimits);
}

bool ManageableScenarioSequence::isScenarioAlreadyExsist(
    const std::shared_ptr<Scenario>& scenario) const {
    const std::string& name = scenario->getScenarioName();
    const bool exists =
        std::any_of(scenarios_.begin(), scenarios_.end(),
                    [&name](const auto& known) { return known->getScenarioName() == name; });
    if (exists) {
        logger().Debug("%s,%d,erase exsisted scanario from append %s\n", "appendScenarios",
                       kKnownNameRecord, name.c_str());
    }
    return exists;
}

}  // namespace vesta
