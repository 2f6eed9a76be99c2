#pragma once

// The captive portal of one VAP: it owns the table of the stations seen there, walks each through
// its access scenarios, tells the informators of every change, and removes the stations that left,
// aged out or ran out of scenarios.
//
// Threads: used through its ThreadsafePortalInstanceHolder, under the holder's lock, except for the
// getters of fixed properties and the white-list identifier, which is guarded by itself.

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "auth/authenticator.h"
#include "client/client_table.h"
#include "client/informator.h"
#include "client/portal_instance_interface.h"
#include "core/mutex.h"
#include "station/client_statistic_info.h"

namespace vesta {

class PortalInstanceMessageExtractor;
class RadiusWorker;
class ScenarioSequenceFactory;

class PortalInstance : public PortalInstanceInterface {
public:
    // Stations of an instance that were never connected: beyond this many the oldest such goes, so
    // that forged addresses can't fill the memory.
    static constexpr std::size_t kMaxNeverConnected = 16384;

    // What an instance is built from. `owner` is how clients and authenticators reach the instance
    // from other threads: its holder; null: the instance itself.
    struct Settings {
        std::string name;
        std::string uplink;
        std::shared_ptr<MessageEntry> vap;
        std::shared_ptr<PortalInstanceMessageExtractor> extractor;
        PortalInstanceInterface* owner = nullptr;
    };

    // Throws ENTRY_EXCEPTION_TYPE when the VAP lacks a key. An instance that uses RADIUS is
    // destroyed by who holds no lock, best with the RadiusListener stopped.
    PortalInstance(const Settings& settings, std::unique_ptr<ScenarioSequenceFactory> sequences);
    virtual ~PortalInstance();
    PortalInstance(const PortalInstance&) = delete;
    PortalInstance& operator=(const PortalInstance&) = delete;

    std::string getName() const override { return name_; }
    std::string getAttachedInterface() const override { return name_; }
    std::string getAttachedInterfaceMac() const override { return interfaceMac_; }
    std::string getSsid() const override { return ssid_; }
    std::string getDomain() const override { return domain_; }
    std::string getApLocation() const override { return apLocation_; }
    std::string getWhiteIpListId() const override EXCLUDES(whiteListMutex_);
    void setWhiteIpListData(const std::pair<std::string, std::string>& data) override
        EXCLUDES(whiteListMutex_);
    std::string getSharedPortalName() const override;
    RadiusSharedKey getRadiusSharedKey() override;

    void addClientsEventsInformator(std::shared_ptr<Informator> informator) override;
    bool addClient(const std::string& mac, const std::string& ip, unsigned int value) override;
    bool addClient(std::shared_ptr<MessageEntry> message,
                   std::shared_ptr<ClientMessageExtractor> extractor, const std::string& ip,
                   unsigned int value) override;
    int authenticateClient(ClientIdentity& identity, const std::string& login,
                           const std::string& password) override;
    void delClient(std::shared_ptr<Client> client, const CommandInfo& command) override;
    bool disconnectClient(ClientIdentity& identity, const CommandInfo& command) override;
    bool set_auth_scenario_client(std::shared_ptr<Client> client) override;
    bool set_deauth_scenario_client(std::shared_ptr<Client> client) override;
    bool setMacAuthSuccessScenario(std::shared_ptr<Client> client) override;
    bool setMacAuthFailureScenario(std::shared_ptr<Client> client) override;
    bool changeClient(const std::shared_ptr<Client>& client,
                      const std::function<void(Client&)>& change) override;
    void updateClientIp(ClientIdentity& identity, const std::string& ip) override;
    void updateClientStatistic(ClientStatisticInfo& statistics) override;
    void checkClientsExpired() override;
    void makeClientsPeriodicUpdate() override;
    bool isYourClient(ClientIdentity& identity) const override;
    bool isClientConnected(ClientIdentity& identity) const override;

    std::shared_ptr<MessageEntry> dumpToMessage(
        std::shared_ptr<PortalInstanceMessageFactory> factory) const override;
    std::shared_ptr<MessageEntry> dumpClientToMessage(
        const ClientIdentity& identity,
        std::shared_ptr<ClientMessageFactory> factory) const override;
    std::vector<std::shared_ptr<MessageEntry>> dumpClientsToMessages(
        std::shared_ptr<ClientMessageFactory> factory) const override;
    std::vector<std::shared_ptr<MessageEntry>> dumpScenariosToMessages(
        std::shared_ptr<ClientMessageFactory> factory) const override;
    std::shared_ptr<MessageEntry> dumpScenariosToMessage(
        std::shared_ptr<ClientMessageFactory> factory,
        const ClientIdentity& identity) const override;
    bool removeClientWhen(RemoveWhen condition, const ClientIdentity& identity,
                          const CommandInfo& command) override;

protected:
    using ClientPtr = std::shared_ptr<Client>;
    using InformatorCall = bool (Informator::*)(std::shared_ptr<Client>, ClientStatisticInfo&);

    // Calls the operation on every informator in order, whatever one of them returns or throws.
    void informatorsHandle(ClientPtr client, ClientStatisticInfo& statistics, InformatorCall call);
    // Tells the informators what the client's current scenario means for it.
    void handleClientScenarioChange(ClientPtr client, ClientStatisticInfo& statistics);
    // The first client in order of arrival that matches and is connected; null when none is.
    [[nodiscard]] ClientPtr findConnectedClient(const ClientIdentity& identity) const;

private:
    void ConfigureRadiusWorker(const Settings& settings);
    void configureAuthenticator();
    ClientPtr restoreClient(const std::shared_ptr<MessageEntry>& message,
                            const std::shared_ptr<ClientMessageExtractor>& extractor,
                            const std::string& mac, const std::string& ip, unsigned int value);
    void insertClient(ClientPtr client);
    void handleClientRemove(const ClientPtr& client, const CommandInfo& command);
    void removeClient(const ClientPtr& client, EndReason reason);
    void updateClientsConnectionStatus();
    void clientConnected(const ClientPtr& client);
    void clientDisconnected(const ClientPtr& client);
    void checkClientsScenarioExpired();
    void freeAgeOutClients();
    bool moveClient(const ClientPtr& client, EndReason reason, bool (Client::*move)(),
                    const char* operation, const char* format);

    const std::string name_;
    const std::string uplink_;
    const std::string interfaceMac_;
    const std::string ssid_;
    const std::string domain_;
    const std::string apLocation_;
    const int ageTimeout_;  // seconds, 0 = none
    const AUTH_MODE authMode_;
    PortalInstanceInterface& owner_;
    const std::unique_ptr<ScenarioSequenceFactory> sequences_;
    std::shared_ptr<RadiusWorker> radiusWorker_;  // null when RADIUS is not used
    std::unique_ptr<Authenticator> authenticator_;
    std::vector<std::shared_ptr<Informator>> informators_;
    ClientTable clients_;

    mutable Mutex whiteListMutex_;
    std::pair<std::string, std::string> whiteList_ GUARDED_BY(whiteListMutex_);
};

}  // namespace vesta
