#pragma once

// Holds an instance's configured scenarios and gives each new client a copy of its own.
//
// Threads: one at a time.

#include <memory>
#include <string>

#include "scenario/scenario_sequence.h"

namespace vesta {

class ScenarioSequenceFactory {
public:
    // Ends the process (status -1) when no message holds a usable scenario.
    ScenarioSequenceFactory(ScenarioSequence::Messages& messages,
                            std::shared_ptr<ScenarioMessageExtractor> extractor);
    virtual ~ScenarioSequenceFactory() = default;
    ScenarioSequenceFactory(const ScenarioSequenceFactory&) = delete;
    ScenarioSequenceFactory& operator=(const ScenarioSequenceFactory&) = delete;

    [[nodiscard]] virtual std::unique_ptr<ScenarioSequence> build() const;
    // A copy that takes orders also where build() gives a plain one, for a client that goes on
    // where another access point had it.
    [[nodiscard]] std::unique_ptr<ScenarioSequence> buildManageable() const;
    // The virtual portal of the first redirect scenario, "" when there is none.
    [[nodiscard]] const std::string& getFirstRedirectPortalName() const {
        return firstRedirectPortalName_;
    }

protected:
    explicit ScenarioSequenceFactory(std::shared_ptr<ScenarioSequence> prototype);

    [[nodiscard]] const ScenarioSequence& prototype() const { return *prototype_; }

private:
    std::shared_ptr<ScenarioSequence> prototype_;
    std::string firstRedirectPortalName_;
};

class ManageableScenarioSequenceFactory final : public ScenarioSequenceFactory {
public:
    ManageableScenarioSequenceFactory(ScenarioSequence::Messages& messages,
                                      std::shared_ptr<ScenarioMessageExtractor> extractor);

    [[nodiscard]] std::unique_ptr<ScenarioSequence> build() const override;
};

}  // namespace vesta
