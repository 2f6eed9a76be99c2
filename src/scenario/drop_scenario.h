#pragma once

// "drop": the station's traffic is dropped until MAC authentication chooses the next scenario.

#include <memory>
#include <string>

#include "scenario/scenario.h"

namespace vesta {

class DropScenario final : public Scenario {
public:
    DropScenario(std::shared_ptr<MessageEntry> message,
                 std::shared_ptr<ScenarioMessageExtractor> extractor);

    void extractDataFromMsg(std::shared_ptr<MessageEntry>,
                            std::shared_ptr<ScenarioMessageExtractor>) override;
    std::shared_ptr<Scenario> getSenarioCopy() const override;
    ACCESS_TYPE getAccessOpen() const override { return ACCESS_DROP; }
    std::string getMacAuthSuccessScenarioName() const override;
    std::string getMacAuthFailureScenarioName() const override;
    std::shared_ptr<MessageEntry> dumpToMessage(
        std::shared_ptr<ScenarioMessageFactory> factory) const override;

private:
    struct Texts {
        std::string macAuthSuccessScenario;
        std::string macAuthFailureScenario;
    };

    std::shared_ptr<const Texts> texts_;
};

}  // namespace vesta
