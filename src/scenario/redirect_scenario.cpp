#include "scenario/redirect_scenario.h"

#include "core/logger.h"
#include "core/optional_value.h"
#include "messages/scenario_message_extractor.h"

namespace vesta {

RedirectScenario::RedirectScenario(std::shared_ptr<MessageEntry> message,
                                   std::shared_ptr<ScenarioMessageExtractor> extractor)
    : Scenario(message, extractor) {
    RedirectScenario::extractDataFromMsg(message, extractor);
}

void RedirectScenario::extractDataFromMsg(std::shared_ptr<MessageEntry> message,
                                          std::shared_ptr<ScenarioMessageExtractor> extractor) {
    const auto texts = std::make_shared<Texts>();
    const char* const name = getScenarioName().c_str();
    if (!readOptional([&] { texts->redirectUrl = extractor->extractRedirectUrl(message); })) {
        logger().Warning("Redirect scenario %s without param redirect-url\n", name);
    }
    if (!readOptional(
            [&] { texts->virtualPortalName = extractor->extractVirtualPortalName(message); })) {
        logger().Warning(
            "Redirect scenario %s without param virtual-portal-name. It's not gonna work with "
            "Ostrel realization of portal\n",
            name);
    }
    if (!readOptional([&] { texts->authScenario = extractor->extractAuthedScenario(message); })) {
        logger().Warning("Redirect scenario %s without param switch-scenario\n", name);
    }
    if (!readOptional([&] { texts->whiteList = extractor->extractWhiteListId(message); })) {
        logger().Warning("Redirect scenario %s without param white list\n", name);
    }
    texts_ = texts;
}

std::shared_ptr<Scenario> RedirectScenario::getSenarioCopy() const {
    logCopy();
    return std::make_shared<RedirectScenario>(*this);
}

std::shared_ptr<MessageEntry> RedirectScenario::dumpToMessage(
    std::shared_ptr<ScenarioMessageFactory> factory) const {
    Report report;
    report.externalUrl = texts_->redirectUrl;
    report.whiteIp = &texts_->whiteList.second;
    return writeReport(*factory, report);
}

}  // namespace vesta
