#pragma once

// Builds scenarios from messages.

#include <memory>
#include <string>

#include "core/message_entry.h"

namespace vesta {

class Scenario;
class ScenarioMessageExtractor;

class ScenarioFactory {
public:
    // Null, after one log record, when the message has no valid access type.
    static std::shared_ptr<Scenario> buildScenario(
        std::shared_ptr<MessageEntry> message, std::shared_ptr<ScenarioMessageExtractor> extractor);
    // True for "allow", "forbid" and "drop".
    static bool isValidAccessType(const std::string& word);
};

}  // namespace vesta
