#include "scenario/scenario_sequence_factory.h"

#include "core/logger.h"
#include "scenario/manageable_scenario_sequence.h"

namespace vesta {

ScenarioSequenceFactory::ScenarioSequenceFactory(
    ScenarioSequence::Messages& messages, std::shared_ptr<ScenarioMessageExtractor> extractor)
    : ScenarioSequenceFactory(std::make_shared<ScenarioSequence>(messages, std::move(extractor))) {}

ScenarioSequenceFactory::ScenarioSequenceFactory(std::shared_ptr<ScenarioSequence> prototype)
    : prototype_(std::move(prototype)),
      firstRedirectPortalName_(prototype_->getFristRedirectPortalName()) {}

std::unique_ptr<ScenarioSequence> ScenarioSequenceFactory::build() const {
    return std::make_unique<ScenarioSequence>(prototype());
}

std::unique_ptr<ScenarioSequence> ScenarioSequenceFactory::buildManageable() const {
    return std::make_unique<ManageableScenarioSequence>(prototype());
}

ManageableScenarioSequenceFactory::ManageableScenarioSequenceFactory(
    ScenarioSequence::Messages& messages, std::shared_ptr<ScenarioMessageExtractor> extractor)
    : ScenarioSequenceFactory(
          std::make_shared<ManageableScenarioSequence>(messages, std::move(extractor))) {}

std::unique_ptr<ScenarioSequence> ManageableScenarioSequenceFactory::build() const {
    logger().Debug("Need to build managed sequence\n");
    return std::make_unique<ManageableScenarioSequence>(prototype());
}

}  // namespace vesta
