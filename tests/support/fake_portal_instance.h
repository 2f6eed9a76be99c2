#pragma once

// A portal instance whose properties a test sets and whose calls it can count: what a client, an
// authenticator or an informator needs as its owner. Calls that reach no table are answered as an
// instance without clients would.

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "client/command_info.h"
#include "client/portal_instance_interface.h"

namespace vesta::testing {

class FakePortalInstance final : public PortalInstanceInterface {
public:
    using ClientPtr = std::shared_ptr<Client>;
    using Message = std::shared_ptr<MessageEntry>;

    std::string getName() const override { return name; }
    std::string getAttachedInterface() const override { return attachedInterface; }
    std::string getAttachedInterfaceMac() const override { return attachedInterfaceMac; }
    std::string getSsid() const override { return ssid; }
    std::string getDomain() const override { return domain; }
    std::string getApLocation() const override { return apLocation; }
    std::string getWhiteIpListId() const override { return whiteList.first; }
    void setWhiteIpListData(const std::pair<std::string, std::string>& data) override {
        whiteList = data;
    }
    void addClientsEventsInformator(std::shared_ptr<Informator> informator) override {
        informators.push_back(std::move(informator));
    }
    bool addClient(const std::string& mac, const std::string&, unsigned int) override {
        addedMacs.push_back(mac);
        return true;
    }
    bool addClient(Message message, std::shared_ptr<ClientMessageExtractor>, const std::string&,
                   unsigned int) override {
        addedMessages.push_back(std::move(message));
        return true;
    }
    int authenticateClient(ClientIdentity&, const std::string&, const std::string&) override {
        return authenticateResult;
    }
    void delClient(ClientPtr client, const CommandInfo& command) override {
        deleted.emplace_back(std::move(client), command.getEndReason());
    }
    bool set_auth_scenario_client(ClientPtr client) override {
        return recordMove("auth", std::move(client));
    }
    bool set_deauth_scenario_client(ClientPtr client) override {
        return recordMove("deauth", std::move(client));
    }
    bool setMacAuthSuccessScenario(ClientPtr client) override {
        return recordMove("macSuccess", std::move(client));
    }
    bool setMacAuthFailureScenario(ClientPtr client) override {
        return recordMove("macFailure", std::move(client));
    }
    bool changeClient(const ClientPtr& client,
                      const std::function<void(Client&)>& change) override {
        if (hasClient) {
            change(*client);
        }
        return hasClient;
    }
    bool setClientScenario(ClientIdentity&, const std::string&,
                           AccessScenarioConstraints&) override {
        return false;
    }
    bool addClientScenarios(ClientIdentity&, std::vector<std::shared_ptr<Scenario>>&) override {
        return false;
    }
    std::string getSharedPortalName() const override { return sharedPortalName; }
    void updateClientIp(ClientIdentity&, const std::string&) override {}
    void updateClientStatistic(ClientStatisticInfo&) override {}
    void checkClientsExpired() override { ++expiryChecks; }
    void makeClientsPeriodicUpdate() override { ++periodicUpdates; }
    bool disconnectClient(ClientIdentity&, const CommandInfo& command) override {
        disconnectReasons.push_back(command.getEndReason());
        return hasClient;
    }
    bool isYourClient(ClientIdentity&) const override { return hasClient; }
    bool isClientConnected(ClientIdentity&) const override { return hasClient; }
    RadiusSharedKey getRadiusSharedKey() override { return sharedKey; }
    Message dumpToMessage(std::shared_ptr<PortalInstanceMessageFactory>) const override {
        return nullptr;
    }
    Message dumpClientToMessage(const ClientIdentity&,
                                std::shared_ptr<ClientMessageFactory>) const override {
        return nullptr;
    }
    std::vector<Message> dumpClientsToMessages(
        std::shared_ptr<ClientMessageFactory>) const override {
        return {};
    }
    std::vector<Message> dumpScenariosToMessages(
        std::shared_ptr<ClientMessageFactory>) const override {
        return {};
    }
    Message dumpScenariosToMessage(std::shared_ptr<ClientMessageFactory>,
                                   const ClientIdentity&) const override {
        return nullptr;
    }
    bool removeClientWhen(RemoveWhen, const ClientIdentity&, const CommandInfo&) override {
        return !hasClient;
    }

    std::string name = "wlan0-va1";
    std::string attachedInterface = "wlan0-va1";
    std::string attachedInterfaceMac = "02:00:00:00:00:01";
    std::string ssid = "Guest";
    std::string domain = "hall.example";
    std::string apLocation = "hall";
    std::string sharedPortalName = "shared";
    std::pair<std::string, std::string> whiteList = {"free", ""};
    RadiusSharedKey sharedKey = {nullptr, 0};
    int authenticateResult = 0;
    bool moveResult = true;
    bool hasClient = true;

    std::vector<std::shared_ptr<Informator>> informators;
    std::vector<std::string> addedMacs;
    std::vector<Message> addedMessages;
    std::vector<std::pair<ClientPtr, EndReason>> deleted;
    // ("auth", "deauth", "macSuccess" or "macFailure", client)
    std::vector<std::pair<std::string, ClientPtr>> moves;
    std::vector<EndReason> disconnectReasons;
    int expiryChecks = 0;
    int periodicUpdates = 0;

private:
    bool recordMove(const char* move, ClientPtr client) {
        moves.emplace_back(move, std::move(client));
        return moveResult;
    }
};

}  // namespace vesta::testing
