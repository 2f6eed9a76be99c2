#include "scenario/drop_scenario.h"

#include "core/logger.h"
#include "core/optional_value.h"
#include "messages/scenario_message_extractor.h"

namespace vesta {

DropScenario::DropScenario(std::shared_ptr<MessageEntry> message,
                           std::shared_ptr<ScenarioMessageExtractor> extractor)
    : Scenario(message, extractor) {
    DropScenario::extractDataFromMsg(message, extractor);
}

void DropScenario::extractDataFromMsg(std::shared_ptr<MessageEntry> message,
                                      std::shared_ptr<ScenarioMessageExtractor> extractor) {
    const auto texts = std::make_shared<Texts>();
    if (!readOptional([&] {
            texts->macAuthSuccessScenario = extractor->extractMacAuthSuccessScenario(message);
        })) {
        logger().Warning("Value mac-auth-success-scenario not set\n");
    }
    if (!readOptional([&] {
            texts->macAuthFailureScenario = extractor->extractMacAuthFailScenario(message);
        })) {
        logger().Warning("Value mac-auth-failure-scenario not set\n");
    }
    texts_ = texts;
}

std::shared_ptr<Scenario> DropScenario::getSenarioCopy() const {
    logCopy();
    return std::make_shared<DropScenario>(*this);
}

std::string DropScenario::getMacAuthSuccessScenarioName() const {
    return texts_->macAuthSuccessScenario;
}

std::string DropScenario::getMacAuthFailureScenarioName() const {
    return texts_->macAuthFailureScenario;
}

std::shared_ptr<MessageEntry> DropScenario::dumpToMessage(
    std::shared_ptr<ScenarioMessageFactory> factory) const {
    return writeReport(*factory, Report());
}

}  // namespace vesta
