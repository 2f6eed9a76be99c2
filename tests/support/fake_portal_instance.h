#pragma once

// A portal instance whose properties a test sets and that remembers what was asked of it for a
// client: what a client, an authenticator or an informator needs as its owner. Calls that reach no
// table are answered as an instance without clients would.

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "client/portal_instance_interface.h"
#include "station/command_info.h"

namespace vesta::testing {

class FakePortalInstance final : public PortalInstanceInterface {
public:
    using ClientPtr = std::shared_ptr<Client>;
    using ClientFactory = std::shared_ptr<ClientMessageFactory>;
    using Message = std::shared_ptr<MessageEntry>;

    std::string getName() const override { return name; }
    std::string getAttachedInterface() const override { return attachedInterface; }
    std::string getAttachedInterfaceMac() const override { return "02:00:00:00:00:01"; }
    std::string getSsid() const override { return ssid; }
    std::string getDomain() const override { return domain; }
    std::string getApLocation() const override { return "hall"; }
    std::string getWhiteIpListId() const override { return whiteListId; }
    std::string getSharedPortalName() const override { return "shared"; }
    RadiusSharedKey getRadiusSharedKey() override { return {nullptr, 0}; }

    void delClient(ClientPtr, const CommandInfo& command) override {
        asked.push_back("deleted " + std::to_string(command.getEndReason()));
    }
    bool set_auth_scenario_client(ClientPtr) override { return move("auth"); }
    bool set_deauth_scenario_client(ClientPtr) override { return move("deauth"); }
    bool setMacAuthSuccessScenario(ClientPtr) override { return move("macSuccess"); }
    bool setMacAuthFailureScenario(ClientPtr) override { return move("macFailure"); }
    bool changeClient(const ClientPtr& client,
                      const std::function<void(Client&)>& change) override {
        change(*client);
        return true;
    }

    void setWhiteIpListData(const std::pair<std::string, std::string>&) override {}
    void addClientsEventsInformator(std::shared_ptr<Informator>) override {}
    bool addClient(const MacAddr&, const std::string&, unsigned int) override { return false; }
    bool addClient(Message, std::shared_ptr<ClientMessageExtractor>, const std::string&,
                   unsigned int) override {
        return false;
    }
    int authenticateClient(ClientIdentity&, const std::string&, const std::string&) override {
        return 0;
    }
    bool setClientScenario(ClientIdentity&, const std::string&,
                           AccessScenarioConstraints&) override {
        return false;
    }
    bool addClientScenarios(ClientIdentity&, std::vector<std::shared_ptr<Scenario>>&) override {
        return false;
    }
    void updateClientIp(ClientIdentity&, const std::string&) override {}
    void updateClientStatistic(ClientStatisticInfo&) override {}
    void checkClientsExpired() override {}
    void checkClientsWithoutStatistics() override {}
    void makeClientsPeriodicUpdate() override {}
    bool disconnectClient(ClientIdentity&, const CommandInfo&) override { return false; }
    bool isYourClient(ClientIdentity&) const override { return false; }
    bool isClientConnected(ClientIdentity&) const override { return false; }
    bool removeClientWhen(RemoveWhen, const ClientIdentity&, const CommandInfo&) override {
        return false;
    }
    Message dumpToMessage(std::shared_ptr<PortalInstanceMessageFactory>) const override {
        return nullptr;
    }
    Message dumpClientToMessage(const ClientIdentity&, ClientFactory) const override {
        return nullptr;
    }
    std::vector<Message> dumpClientsToMessages(ClientFactory) const override { return {}; }
    std::vector<Message> dumpScenariosToMessages(ClientFactory) const override { return {}; }
    Message dumpScenariosToMessage(ClientFactory, const ClientIdentity&) const override {
        return nullptr;
    }

    std::string name = "wlan0-va1";
    std::string attachedInterface = "wlan0-va1";
    std::string ssid = "Guest";
    std::string domain = "hall.example";
    std::string whiteListId = "free";

    // "auth", "deauth", "macSuccess", "macFailure" or "deleted " and the end reason.
    std::vector<std::string> asked;

private:
    bool move(const char* scenario) {
        asked.emplace_back(scenario);
        return true;
    }
};

}  // namespace vesta::testing
