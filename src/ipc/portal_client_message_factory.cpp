#include "ipc/portal_client_message_factory.h"

#include "client/client.h"
#include "core/json_entry.h"
#include "messages/scenario_message_factory.h"

namespace vesta {

PortalClientMessageFactory::PortalClientMessageFactory(const std::string& templateText,
                                                       const char* redirectionUrlKey)
    : template_(templateText), redirectionUrlKey_(redirectionUrlKey) {}

void PortalClientMessageFactory::createMessage() {
    message_ = std::make_shared<JsonEntry>(template_);
}

std::shared_ptr<ScenarioMessageFactory> PortalClientMessageFactory::getScenarioMessageFactory() {
    return nullptr;
}

bool PortalClientMessageFactory::filter(const Client& client) {
    return client.isConnected();
}

void PortalClientMessageFactory::addMacAddress(const std::string& mac) {
    addText("cli-mac", mac);
}

void PortalClientMessageFactory::addIpAddress(const std::string& ip) {
    addText("cli-ip", ip);
}

void PortalClientMessageFactory::addLogin(const std::string& login) {
    if (!login.empty()) {
        addText("cli-login", login);
    }
}

void PortalClientMessageFactory::addRedirectionUrl(const std::string& url) {
    addText(redirectionUrlKey_.c_str(), url);
}

void PortalClientMessageFactory::addProxyMode(const std::string& mode) {
    addText("proxy-mode", mode);
}

void PortalClientMessageFactory::addVirtualPortalName(const std::string& name) {
    if (!name.empty()) {
        addText("virtual-portal-name", name);
    }
}

void PortalClientMessageFactory::addSsid(const std::string& ssid) {
    addText("ssid", ssid);
}

void PortalClientMessageFactory::addRadiusDomain(const std::string& domain) {
    addText("domain", domain);
}

void PortalClientMessageFactory::addApLocation(const std::string& location) {
    addText("ap-location", location);
}

void PortalClientMessageFactory::addVapMac(const std::string& mac) {
    addText("ap-mac", mac);
}

void PortalClientMessageFactory::addCurrentState(const std::string& state) {
    addText("cur-state", state);
}

void PortalClientMessageFactory::addEndReason(const std::string& reason) {
    addText("end-reason", reason);
}

void PortalClientMessageFactory::addEndExpireValue(const std::string& value) {
    addText("end-value", value);
}

void PortalClientMessageFactory::addText(const char* key, const std::string& value) {
    message_->insertStringValue(key, value.c_str());
}

}  // namespace vesta
