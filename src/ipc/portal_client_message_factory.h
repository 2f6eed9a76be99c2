#pragma once

// What the dialects have in common that describe a station to a proxy: each message begins as a
// given template, only connected stations are written, every value is a text, and no scenarios are
// written. They differ in the key of the redirection URL.

#include <memory>
#include <string>

#include "messages/client_message_factory.h"

namespace vesta {

class PortalClientMessageFactory : public ClientMessageFactory {
public:
    // `templateText` is the JSON text that every message begins as.
    PortalClientMessageFactory(const std::string& templateText, const char* redirectionUrlKey);

    void createMessage() override;
    std::shared_ptr<MessageEntry> getResultMessage() override { return message_; }
    std::shared_ptr<ScenarioMessageFactory> getScenarioMessageFactory() override;
    bool filter(const Client&) override;

    void addMacAddress(const std::string&) override;
    void addIpAddress(const std::string&) override;
    void addLogin(const std::string&) override;  // only when not empty
    void addRedirectionUrl(const std::string&) override;
    void addProxyMode(const std::string&) override;
    void addVirtualPortalName(const std::string&) override;  // only when not empty
    void addSsid(const std::string&) override;
    void addRadiusDomain(const std::string&) override;
    void addApLocation(const std::string&) override;
    void addVapMac(const std::string&) override;
    void addCurrentState(const std::string&) override;
    void addEndReason(const std::string&) override;
    void addEndExpireValue(const std::string&) override;

private:
    void addText(const char* key, const std::string& value);

    std::shared_ptr<MessageEntry> message_;
    std::string template_;
    std::string redirectionUrlKey_;
};

}  // namespace vesta
