#pragma once

// Writes a station as the access points of a mobility domain know it: a record. Only authorised
// stations are written. The update form is the same without the scenarios, which don't change.
//
// Threads: one thread at a time.

#include <memory>
#include <string>
#include <vector>

#include "messages/client_message_factory.h"

namespace vesta {

class APBDClientMessageFactory : public ClientMessageFactory {
public:
    void createMessage() override;
    std::shared_ptr<MessageEntry> getResultMessage() override { return message_; }
    std::shared_ptr<ScenarioMessageFactory> getScenarioMessageFactory() override;
    bool filter(const Client& client) override;

    void addMacAddress(const std::string& mac) override;
    void addLogin(const std::string& login) override;
    void addSsid(const std::string& ssid) override;
    void addRadiusDomain(const std::string& domain) override;
    void addApLocation(const std::string& location) override;
    void addSimultaneousUse(int count) override;
    // Written 2 lower: peers count from the third scenario on.
    void addCurrentScenarioId(unsigned int id) override;
    void addCurrentTimeLimit(long seconds) override;
    void addSessionTime(long seconds) override;
    // The low 32 bits.
    void addCurrentTrafficLimit(long long bytes) override;
    // Null entries are scenarios that the dialect can't express: they are left out with one
    // warning, so that none of them arrives as something else.
    void addScenarios(std::vector<std::shared_ptr<MessageEntry>>& scenarios) override;

private:
    std::shared_ptr<MessageEntry> message_;
};

class APBDUpdateClientMessageFactory final : public APBDClientMessageFactory {
public:
    std::shared_ptr<ScenarioMessageFactory> getScenarioMessageFactory() override { return nullptr; }
    void addScenarios(std::vector<std::shared_ptr<MessageEntry>>&) override {}
};

}  // namespace vesta
