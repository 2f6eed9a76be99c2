#include "apb/apbd_client_message_factory.h"

#include <algorithm>

#include "apb/apbd_numbers.h"
#include "apb/apbd_scenario_message_factory.h"
#include "client/client.h"
#include "core/json_entry.h"
#include "core/logger.h"

namespace vesta {

void APBDClientMessageFactory::createMessage() {
    message_ = std::make_shared<JsonEntry>("{}");
}

std::shared_ptr<ScenarioMessageFactory> APBDClientMessageFactory::getScenarioMessageFactory() {
    return std::make_shared<APBDScenarioMessageFactory>();
}

bool APBDClientMessageFactory::filter(const Client& client) {
    return client.isAuthorized();
}

void APBDClientMessageFactory::addMacAddress(const std::string& mac) {
    message_->insertStringValue("sta-mac", mac.c_str());
}

void APBDClientMessageFactory::addLogin(const std::string& login) {
    message_->insertStringValue("user-name", login.c_str());
}

void APBDClientMessageFactory::addSsid(const std::string& ssid) {
    message_->insertStringValue("ssid", ssid.c_str());
}

void APBDClientMessageFactory::addRadiusDomain(const std::string& domain) {
    message_->insertStringValue("radius-domain", domain.c_str());
}

void APBDClientMessageFactory::addApLocation(const std::string& location) {
    message_->insertStringValue("mobility-domain", location.c_str());
}

void APBDClientMessageFactory::addSimultaneousUse(int count) {
    message_->insertIntValue("simultaneous-use", count);
}

void APBDClientMessageFactory::addCurrentScenarioId(unsigned int id) {
    message_->insertIntValue("cur-scenario-id", idForPeers(id));
}

void APBDClientMessageFactory::addCurrentTimeLimit(long seconds) {
    message_->insertIntValue("cur-time-limit", secondsForPeers(seconds));
}

void APBDClientMessageFactory::addSessionTime(long seconds) {
    message_->insertIntValue("cur-session-time", secondsForPeers(seconds));
}

void APBDClientMessageFactory::addCurrentTrafficLimit(long long bytes) {
    message_->insertIntValue("cur-traffic-limit", bytesForPeers(bytes));
}

void APBDClientMessageFactory::addScenarios(std::vector<std::shared_ptr<MessageEntry>>& scenarios) {
    std::vector<std::shared_ptr<MessageEntry>> expressible;
    std::copy_if(scenarios.begin(), scenarios.end(), std::back_inserter(expressible),
                 [](const auto& scenario) { return scenario != nullptr; });
    if (expressible.size() != scenarios.size()) {
        logger().Warning(
            "%s: %d of %d scenarios can't be told to other access points: a drop "
            "scenario, or a redirect without URL\n",
            "addScenarios", static_cast<int>(scenarios.size() - expressible.size()),
            static_cast<int>(scenarios.size()));
    }
    message_->insertArrayValue("scenario", std::move(expressible));
}

}  // namespace vesta
