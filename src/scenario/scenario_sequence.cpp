#include "scenario/scenario_sequence.h"

#include <algorithm>

#include "core/logger.h"
#include "messages/scenario_values.h"
#include "scenario/scenario.h"
#include "scenario/scenario_factory.h"

namespace vesta {
namespace {

// Stand in log records behind the name of the operation.
constexpr int kCopyRecord = 45;
constexpr int kListEndedRecord = 98;

void logRefusal(const char* operation) {
    logger().Debug("%s not managable scenario sequence, don't do anything\n", operation);
}

}  // namespace

ScenarioSequence::ScenarioSequence(Messages& messages,
                                   std::shared_ptr<ScenarioMessageExtractor> extractor) {
    logger().Debug("Create scenario sequnce with %d scenarios\n",
                   static_cast<int>(messages.size()));
    addScenarios(messages, extractor);
    if (scenarios_.empty()) {
        throw ENTRY_NOT_FOUND;
    }
}

ScenarioSequence::ScenarioSequence(const ScenarioSequence& other) : current_(other.current_) {
    scenarios_.reserve(other.scenarios_.size());
    for (const std::shared_ptr<Scenario>& scenario : other.scenarios_) {
        scenarios_.push_back(scenario->getSenarioCopy());
    }
    logger().Debug("%s,%d,start sequenct index %lu\n", "ScenarioSequence", kCopyRecord,
                   static_cast<unsigned long>(current_));
}

void ScenarioSequence::collectWhiteLists(std::set<std::string>& names) const {
    for (const std::shared_ptr<Scenario>& scenario : scenarios_) {
        // Other kinds have none.
        if (scenario->getAccessOpen() == ACCESS_REDIRECT) {
            names.insert(scenario->getWhiteIpListId());
        }
    }
}

bool ScenarioSequence::appendScenarios(std::vector<std::shared_ptr<Scenario>>&) {
    logRefusal("appendScenarios");
    return false;
}

bool ScenarioSequence::setCurrentScenario(unsigned int, unsigned int) {
    logRefusal("setCurrentScenario");
    return false;
}

bool ScenarioSequence::setCurrentScenario(const std::string&) {
    logRefusal("setCurrentScenario");
    return false;
}

void ScenarioSequence::updateScenarioConstraints(AccessScenarioConstraints&) {
    logRefusal("updateScenarioConstraints");
}

bool ScenarioSequence::isCurrentScenarioLast() const {
    const std::uint32_t nextId = getCurrent()->getId() + 1;
    return std::none_of(scenarios_.begin(), scenarios_.end(),
                        [nextId](const auto& scenario) { return scenario->getId() == nextId; });
}

bool ScenarioSequence::firstRedirectPassed() const {
    return firstRedirect() < current_;
}

std::string ScenarioSequence::getFristRedirectPortalName() const {
    const std::size_t index = firstRedirect();
    return index < scenarios_.size() ? scenarios_[index]->getVirtualPortalName() : "";
}

std::pair<std::string, ClientStatisticInfo> ScenarioSequence::getExpireInfo() const {
    const Scenario& expired = expiredScenario();
    // Other kinds have no limits.
    const bool hasReason = expired.getAccessOpen() == ACCESS_ALLOW;
    return {hasReason ? expired.getExpireReason() : "", expired.getStatistic()};
}

bool ScenarioSequence::clearExpireInfo() {
    return expiredScenario().clearExpireReason();
}

bool ScenarioSequence::switchScenario() {
    const std::uint32_t target = getCurrent()->getId() + 1;
    if (setCurrentScenario(target, 0)) {
        return true;
    }
    logger().Debug("%s,%d,Not found index %d seems like scenario list is ended!\n",
                   "switchScenario", kListEndedRecord, static_cast<int>(target));
    return false;
}

bool ScenarioSequence::changeScenario(const std::string& name) {
    if (name.empty()) {
        logger().Error("Try to set no named scenario\n");
        return false;
    }
    for (std::size_t index = 0; index < scenarios_.size(); ++index) {
        if (scenarios_[index]->getScenarioName() == name) {
            enter(index, 0);
            logger().Debug("Scenario was changed to %d (name %s)\n", static_cast<int>(index),
                           name.c_str());
            return true;
        }
    }
    logger().Error("Try to set scenario '%s', but not found it\n", name.c_str());
    return false;
}

bool ScenarioSequence::set_auth_scenario_client() {
    return moveTo(getCurrent()->get_name_auth_scenario());
}

bool ScenarioSequence::set_deauth_scenario_client() {
    return moveTo(getCurrent()->get_name_deauth_scenario());
}

bool ScenarioSequence::setMacAuthSuccessScenario() {
    return moveTo(getCurrent()->getMacAuthSuccessScenarioName());
}

bool ScenarioSequence::setMacAuthFailureScenario() {
    return moveTo(getCurrent()->getMacAuthFailureScenarioName());
}

ScenarioSequence::Messages ScenarioSequence::dumpToMessages(
    const std::shared_ptr<ScenarioMessageFactory>& factory) const {
    return dumpFrom(0, factory);
}

ScenarioSequence::Messages ScenarioSequence::dumpActualToMessages(
    const std::shared_ptr<ScenarioMessageFactory>& factory) const {
    return dumpFrom(kOwnScenarios, factory);
}

ScenarioSequence::Messages ScenarioSequence::dumpCurrentToMessages(
    const std::shared_ptr<ScenarioMessageFactory>& factory) const {
    return {getCurrent()->dumpToMessage(factory)};
}

void ScenarioSequence::addScenarios(Messages& messages,
                                    const std::shared_ptr<ScenarioMessageExtractor>& extractor) {
    for (const std::shared_ptr<MessageEntry>& message : messages) {
        std::shared_ptr<Scenario> scenario = ScenarioFactory::buildScenario(message, extractor);
        if (scenario) {
            logger().Debug("Goto add scenario\n");
            scenarios_.push_back(std::move(scenario));
        }
    }
}

void ScenarioSequence::enter(std::size_t index, unsigned int syncTime) {
    current_ = static_cast<std::uint32_t>(index);
    scenarios_[index]->startScenario(syncTime);
}

ScenarioSequence::Messages ScenarioSequence::dumpFrom(
    std::size_t index, const std::shared_ptr<ScenarioMessageFactory>& factory) const {
    Messages messages;
    for (; index < scenarios_.size(); ++index) {
        messages.push_back(scenarios_[index]->dumpToMessage(factory));
    }
    return messages;
}

// The index; scenarios_.size() when there is none.
std::size_t ScenarioSequence::firstRedirect() const {
    std::size_t index = 0;
    while (index < scenarios_.size() && scenarios_[index]->getAccessOpen() != ACCESS_REDIRECT) {
        ++index;
    }
    return index;
}

Scenario& ScenarioSequence::expiredScenario() const {
    return *scenarios_[current_ == 0 ? scenarios_.size() - 1 : current_ - 1];
}

bool ScenarioSequence::moveTo(const std::string& name) {
    return name.empty() ? switchScenario() : changeScenario(name);
}

}  // namespace vesta
