#pragma once

// The captive portal of one VAP. It answers for the VAP and hands the work on: Stations holds the
// stations and tells the informators what happens to them, ClientRounds checks them every second,
// ClientFactory makes them, the authenticator checks their logins.
//
// Threads: used through its ThreadsafePortalInstanceHolder, under the holder's lock, except for the
// getters of fixed properties and the white-list identifier, which is guarded by itself.

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "auth/authenticator.h"
#include "client/portal_instance_interface.h"
#include "core/mutex.h"
#include "portal/client_factory.h"
#include "portal/client_rounds.h"
#include "portal/stations.h"

namespace vesta {

class PortalInstanceMessageExtractor;
class RadiusWorker;
class ScenarioSequenceFactory;

class PortalInstance : public PortalInstanceInterface {
public:
    // What an instance is built from. `owner` is the holder, through which clients and
    // authenticators reach the instance from other threads; null: the instance itself.
    struct Settings {
        std::string name;
        std::string uplink;
        std::shared_ptr<MessageEntry> vap;
        std::shared_ptr<PortalInstanceMessageExtractor> extractor;
        PortalInstanceInterface* owner = nullptr;
        SharedInformators informators;
    };

    // Throws ENTRY_EXCEPTION_TYPE when the VAP lacks a key. An instance that uses RADIUS must be
    // destroyed without any lock held, and best after the RadiusListener was stopped.
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
    bool addClient(const MacAddr& mac, const std::string& ip, unsigned int value) override;
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
    void checkClientsWithoutStatistics() override;
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

    void collectWhiteLists(std::set<std::string>& names) const override;

protected:
    using ClientPtr = Stations::ClientPtr;

    [[nodiscard]] Informators& informators() { return stations_.informators(); }
    // The first in order of arrival that matches and is connected; null when there is none.
    [[nodiscard]] ClientPtr findConnectedClient(const ClientIdentity& identity) const;

private:
    // Null when the instance uses no RADIUS.
    static std::shared_ptr<RadiusWorker> ConfigureRadiusWorker(const Settings& settings);
    void insertClient(ClientPtr client);
    // Whether the station with this MAC is here already, which is logged.
    [[nodiscard]] bool isKnown(const ClientIdentity& identity) const;

    const std::string name_;
    const std::string interfaceMac_;
    const std::string ssid_;
    const std::string domain_;
    const std::string apLocation_;
    PortalInstanceInterface& owner_;
    const std::unique_ptr<ScenarioSequenceFactory> sequences_;
    const ClientFactory clientFactory_;
    const std::shared_ptr<RadiusWorker> radiusWorker_;
    const std::unique_ptr<Authenticator> authenticator_;
    Stations stations_;
    ClientRounds rounds_;

    mutable Mutex whiteListMutex_;
    std::pair<std::string, std::string> whiteList_ GUARDED_BY(whiteListMutex_);
};

}  // namespace vesta
