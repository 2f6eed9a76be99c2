#pragma once

// The lock around a portal instance: every call that reads or changes clients holds the one mutex
// as long as it lasts. Getters of fixed properties take no lock, nor does setWhiteIpListData(),
// whose data the instance guards by itself.
//
// The mutex is not recursive: informators and authenticators, which an instance calls while it is
// held, must not call the holder on the same thread.

#include <memory>

#include "client/portal_instance_interface.h"
#include "core/mutex.h"

namespace vesta {

class ThreadsafePortalInstanceHolder final : public PortalInstanceInterface {
public:
    ThreadsafePortalInstanceHolder() = default;
    ThreadsafePortalInstanceHolder(const ThreadsafePortalInstanceHolder&) = delete;
    ThreadsafePortalInstanceHolder& operator=(const ThreadsafePortalInstanceHolder&) = delete;

    // Called once, before the holder is shared.
    void setInstance(std::shared_ptr<PortalInstanceInterface> instance);

    std::string getName() const override;
    std::string getAttachedInterface() const override;
    std::string getAttachedInterfaceMac() const override;
    std::string getSsid() const override;
    std::string getDomain() const override;
    std::string getApLocation() const override;
    std::string getWhiteIpListId() const override;
    void setWhiteIpListData(const std::pair<std::string, std::string>& data) override;
    void addClientsEventsInformator(std::shared_ptr<Informator> informator) override
        EXCLUDES(mutex_);
    bool addClient(const MacAddr& mac, const std::string& ip, unsigned int value) override
        EXCLUDES(mutex_);
    bool addClient(std::shared_ptr<MessageEntry> message,
                   std::shared_ptr<ClientMessageExtractor> extractor, const std::string& ip,
                   unsigned int value) override EXCLUDES(mutex_);
    int authenticateClient(ClientIdentity& identity, const std::string& login,
                           const std::string& password) override EXCLUDES(mutex_);
    void delClient(std::shared_ptr<Client> client, const CommandInfo& command) override
        EXCLUDES(mutex_);
    bool set_auth_scenario_client(std::shared_ptr<Client> client) override EXCLUDES(mutex_);
    bool set_deauth_scenario_client(std::shared_ptr<Client> client) override EXCLUDES(mutex_);
    bool setMacAuthSuccessScenario(std::shared_ptr<Client> client) override EXCLUDES(mutex_);
    bool setMacAuthFailureScenario(std::shared_ptr<Client> client) override EXCLUDES(mutex_);
    bool changeAndMoveClient(const std::shared_ptr<Client>& client,
                             const std::function<void(Client&)>& change, Move move) override
        EXCLUDES(mutex_);
    bool changeClient(const std::shared_ptr<Client>& client,
                      const std::function<void(Client&)>& change) override EXCLUDES(mutex_);
    bool setClientScenario(ClientIdentity& identity, const std::string& name,
                           AccessScenarioConstraints& constraints) override EXCLUDES(mutex_);
    bool addClientScenarios(ClientIdentity& identity,
                            std::vector<std::shared_ptr<Scenario>>& scenarios) override
        EXCLUDES(mutex_);
    std::string getSharedPortalName() const override;
    void updateClientIp(ClientIdentity& identity, const std::string& ip) override EXCLUDES(mutex_);
    void updateClientStatistic(ClientStatisticInfo& statistics) override EXCLUDES(mutex_);
    void checkClientsExpired() override EXCLUDES(mutex_);
    void checkClientsWithoutStatistics() override EXCLUDES(mutex_);
    void makeClientsPeriodicUpdate() override EXCLUDES(mutex_);
    bool disconnectClient(ClientIdentity& identity, const CommandInfo& command) override
        EXCLUDES(mutex_);
    bool isYourClient(ClientIdentity& identity) const override EXCLUDES(mutex_);
    bool isClientConnected(ClientIdentity& identity) const override EXCLUDES(mutex_);
    RadiusSharedKey getRadiusSharedKey() override;
    std::shared_ptr<MessageEntry> dumpToMessage(
        std::shared_ptr<PortalInstanceMessageFactory> factory) const override EXCLUDES(mutex_);
    std::shared_ptr<MessageEntry> dumpClientToMessage(
        const ClientIdentity& identity,
        std::shared_ptr<ClientMessageFactory> factory) const override EXCLUDES(mutex_);
    std::vector<std::shared_ptr<MessageEntry>> dumpClientsToMessages(
        std::shared_ptr<ClientMessageFactory> factory) const override EXCLUDES(mutex_);
    std::vector<std::shared_ptr<MessageEntry>> dumpScenariosToMessages(
        std::shared_ptr<ClientMessageFactory> factory) const override EXCLUDES(mutex_);
    std::shared_ptr<MessageEntry> dumpScenariosToMessage(
        std::shared_ptr<ClientMessageFactory> factory,
        const ClientIdentity& identity) const override EXCLUDES(mutex_);
    bool removeClientWhen(RemoveWhen condition, const ClientIdentity& identity,
                          const CommandInfo& command) override EXCLUDES(mutex_);
    void collectWhiteLists(std::set<std::string>& names) const override EXCLUDES(mutex_);

private:
    mutable Mutex mutex_;
    // Set before the holder is shared. The mutex guards what it points to.
    std::shared_ptr<PortalInstanceInterface> instance_;
};

}  // namespace vesta
