#pragma once

// The dialect in which the status queries "get" and "get-scenarios" are answered. Peers know three
// of its oddities: the AP location goes out as "mobility-domain"; ids and counts of scenarios are
// two less than ours, as the first two scenarios belong to the daemon alone; 64-bit traffic is cut
// to its low 32 bits.

#include "messages/client_message_factory.h"
#include "messages/scenario_message_factory.h"

namespace vesta {

// One object a client, without scenarios.
class IPCDumpClientMessageFactory : public ClientMessageFactory {
public:
    void createMessage() override;
    // Null before the first createMessage().
    std::shared_ptr<MessageEntry> getResultMessage() override;
    std::shared_ptr<ScenarioMessageFactory> getScenarioMessageFactory() override { return nullptr; }

    void addMacAddress(const std::string& mac) override;
    void addIpAddress(const std::string& ip) override;
    void addConnectionStatus(bool connected) override;
    // Any other value than the three writes nothing and logs an error.
    void addAccessType(ACCESS_TYPE type) override;
    void addSessionId(const std::string& id) override;
    void addLogin(const std::string& login) override;
    void addPassword(const std::string& password) override;
    void addRedirectionUrl(const std::string& url) override;
    void addInterface(const std::string& name) override;
    void addSsid(const std::string& ssid) override;
    void addRadiusDomain(const std::string& domain) override;
    void addApLocation(const std::string& location) override;
    void addSimultaneousUse(int count) override;
    void addCntScenarios(unsigned int count) override;
    void addCurrentScenarioId(unsigned int id) override;
    void addCurrentTimeLimit(long seconds) override;
    void addSessionTime(long seconds) override;
    void addCurrentTrafficLimit(long long bytes) override;
    void addScenarios(std::vector<std::shared_ptr<MessageEntry>>& scenarios) override;

private:
    std::shared_ptr<MessageEntry> message_;
};

// The same with the scenarios as an array.
class IPCDumpClientScenariosMessageFactory final : public IPCDumpClientMessageFactory {
public:
    std::shared_ptr<ScenarioMessageFactory> getScenarioMessageFactory() override;
};

// One object a scenario.
class IPCDumpScenarioMessageFactory final : public ScenarioMessageFactory {
public:
    void createMessage() override;
    // Null before the first createMessage().
    std::shared_ptr<MessageEntry> getResultMessage() override;

    void addId(unsigned int id) override;
    void addName(const std::string& name) override;
    void addExternalUrl(const std::string& url) override;
    // Written as "start-session": the opposite of the argument.
    void addWithoutSession(bool withoutSession) override;
    void addWhiteIpHash(const std::string& hash) override;
    void addSessionTimeout(long seconds) override;
    void addTimeLimit(long seconds) override;
    void addAwayTimeout(long seconds) override;
    void addTrafficLimit(long long bytes) override;
    void addAclUp(const std::string& name) override;
    void addAclDown(const std::string& name) override;
    void addPolicyUp(const std::string& name) override;
    void addPolicyDown(const std::string& name) override;
    // Written in bytes/s.
    void addBandwidthUp(unsigned int kibPerSecond) override;
    void addBandwidthDown(unsigned int kibPerSecond) override;
    void addCurrentTimeLimit(long seconds) override;
    void addSessionTime(long seconds) override;
    void addCurrentTrafficLimit(long long bytes) override;

private:
    std::shared_ptr<MessageEntry> message_;
};

}  // namespace vesta
