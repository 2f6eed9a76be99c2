#pragma once

// "forbid": the station's traffic is held and its web requests go to a portal. It ends when the
// station authenticates.

#include <memory>
#include <string>
#include <utility>

#include "scenario/scenario.h"

namespace vesta {

class RedirectScenario final : public Scenario {
public:
    RedirectScenario(std::shared_ptr<MessageEntry> message,
                     std::shared_ptr<ScenarioMessageExtractor> extractor);

    void extractDataFromMsg(std::shared_ptr<MessageEntry>,
                            std::shared_ptr<ScenarioMessageExtractor>) override;
    std::shared_ptr<Scenario> getSenarioCopy() const override;
    ACCESS_TYPE getAccessOpen() const override { return ACCESS_REDIRECT; }
    std::string getRedirectUrl() const override { return texts_->redirectUrl; }
    std::string getVirtualPortalName() const override { return texts_->virtualPortalName; }
    std::string getWhiteIpListId() const override { return texts_->whiteList.first; }
    std::string get_name_auth_scenario() const override { return texts_->authScenario; }
    std::shared_ptr<MessageEntry> dumpToMessage(
        std::shared_ptr<ScenarioMessageFactory> factory) const override;

private:
    struct Texts {
        std::string redirectUrl;
        std::string virtualPortalName;
        std::string authScenario;
        std::pair<std::string, std::string> whiteList;  // (identifier, data)
    };

    std::shared_ptr<const Texts> texts_;
};

}  // namespace vesta
