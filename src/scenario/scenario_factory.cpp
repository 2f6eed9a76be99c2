#include "scenario/scenario_factory.h"

#include "core/logger.h"
#include "core/optional_value.h"
#include "messages/scenario_message_extractor.h"
#include "scenario/access_scenario.h"
#include "scenario/drop_scenario.h"
#include "scenario/redirect_scenario.h"

namespace vesta {
namespace {

constexpr const char* kAllow = "allow";
constexpr const char* kForbid = "forbid";
constexpr const char* kDrop = "drop";

}  // namespace

std::shared_ptr<Scenario> ScenarioFactory::buildScenario(
    std::shared_ptr<MessageEntry> message, std::shared_ptr<ScenarioMessageExtractor> extractor) {
    std::string word;
    if (!readOptional([&] { word = extractor->extractAccessType(message); }) ||
        !isValidAccessType(word)) {
        logger().Warning("Scenario without specify type: allow, forbid or drop, skip it\n");
        return nullptr;
    }
    if (word == kAllow) {
        return std::make_shared<AccessScenario>(std::move(message), std::move(extractor));
    }
    if (word == kForbid) {
        return std::make_shared<RedirectScenario>(std::move(message), std::move(extractor));
    }
    return std::make_shared<DropScenario>(std::move(message), std::move(extractor));
}

bool ScenarioFactory::isValidAccessType(const std::string& word) {
    return word == kAllow || word == kForbid || word == kDrop;
}

}  // namespace vesta
