#include "portal/portal_instance.h"

#include <algorithm>
#include <utility>

#include "auth/portal_mac_authenticator.h"
#include "auth/radius_authenticator.h"
#include "client/client.h"
#include "core/logger.h"
#include "core/required_key.h"
#include "device/network_interface.h"
#include "kernel/shaper_module_worker.h"
#include "messages/client_message_extractor.h"
#include "messages/client_message_factory.h"
#include "messages/portal_instance_messages.h"
#include "portal/identity_match.h"
#include "radius/radius_worker.h"
#include "scenario/scenario_sequence.h"
#include "scenario/scenario_sequence_factory.h"
#include "station/client_statistic_info.h"

namespace vesta {
namespace {

using Entries = std::vector<std::shared_ptr<MessageEntry>>;

// Stand in log records behind the name of the operation.
constexpr int kKnownRecord = 227;
constexpr int kAddRecord = 232;
constexpr int kDeleteRecord = 284;
constexpr int kIpOfUnknownRecord = 365;
constexpr int kIpRecord = 371;
constexpr int kStatisticOfUnknownRecord = 382;

AUTH_MODE authModeOf(const PortalInstance::Settings& settings) {
    return parseAuthMode(settings.extractor->extractVereficationMode(settings.vap));
}

// Seconds, 0 = none.
int ageTimeoutOf(const PortalInstance::Settings& settings) {
    // Negative means that the configuration carries none.
    return static_cast<int>(std::max(0L, settings.extractor->extractAgeTimeout(settings.vap)));
}

// Null for an unknown mode.
std::unique_ptr<Authenticator> makeAuthenticator(AUTH_MODE mode,
                                                 const std::shared_ptr<RadiusWorker>& radiusWorker,
                                                 PortalInstanceInterface& owner) {
    switch (mode) {
        case AUTH_MODE_LOCAL:
            return std::make_unique<LocalAuthenticator>();
        case AUTH_MODE_PORTAL:
            return std::make_unique<PortalAuthenticator>();
        case AUTH_MODE_RADIUS:
            return std::make_unique<RadiusAuthenticator>(radiusWorker, owner);
        case AUTH_MODE_PORTAL_MAC:
            return std::make_unique<PortalMacAuthenticator>(radiusWorker, owner);
    }
    logger().Error("Not expected authenticateMode = %d.\n", static_cast<int>(mode));
    return nullptr;
}

// Null where there is no shaper.
std::shared_ptr<Informator> makeShaper(const PortalInstance::Settings& settings) {
    const std::shared_ptr<ModuleFile>& file = settings.informators.shaperFile;
    return file ? std::make_shared<ShaperModuleWorker>(settings.name, file) : nullptr;
}

using Dump = std::shared_ptr<MessageEntry> (Client::*)(std::shared_ptr<ClientMessageFactory>) const;

// One message for each client that the factory's filter lets through.
Entries dumpAll(const ClientTable& clients, Dump dump,
                const std::shared_ptr<ClientMessageFactory>& factory) {
    Entries messages;
    messages.reserve(clients.size());
    for (const std::shared_ptr<Client>& client : clients) {
        if (auto message = ((*client).*dump)(factory)) {
            messages.push_back(std::move(message));
        }
    }
    return messages;
}

}  // namespace

PortalInstance::PortalInstance(const Settings& settings,
                               std::unique_ptr<ScenarioSequenceFactory> sequences)
    : name_(settings.name),
      interfaceMac_(interfaceMac(settings.name)),
      ssid_(settings.extractor->extractSsid(settings.vap)),
      domain_(settings.extractor->extractRadiusDomain(settings.vap)),
      apLocation_(settings.extractor->extractMobilityDomain(settings.vap)),
      owner_(settings.owner != nullptr ? *settings.owner : *this),
      sequences_(std::move(sequences)),
      clientFactory_(*sequences_, owner_),
      radiusWorker_(ConfigureRadiusWorker(settings)),
      authenticator_(makeAuthenticator(authModeOf(settings), radiusWorker_, owner_)),
      stations_(Informators(radiusWorker_, makeShaper(settings), settings.informators)),
      rounds_(stations_, authenticator_.get(), ageTimeoutOf(settings)),
      whiteList_(settings.extractor->extractWhiteIpListId(settings.vap)) {}

PortalInstance::~PortalInstance() {
    if (!radiusWorker_) {
        return;
    }
    // Its answers go to the authenticator, which is destroyed first.
    radiusWorker_->close();
    for (const ClientPtr& client : stations_.table()) {
        RadiusWorker::deleteSta(client->getRadiusSta());
        client->setRadiusSta(nullptr);
    }
}

std::shared_ptr<RadiusWorker> PortalInstance::ConfigureRadiusWorker(const Settings& settings) {
    const AUTH_MODE authMode = authModeOf(settings);
    unsigned int workmode = RADIUS_WORKMODE_NONE;
    if (authMode == AUTH_MODE_RADIUS || authMode == AUTH_MODE_PORTAL_MAC) {
        workmode |= RADIUS_WORKMODE_AUTHENTICATION;
    }
    if (settings.extractor->extractRadiusAccounting(settings.vap)) {
        workmode |= RADIUS_WORKMODE_ACCOUNTING;
    }
    if (workmode == RADIUS_WORKMODE_NONE) {
        return nullptr;
    }
    logger().Debug("Go to configure radius for instance %s\n", settings.name.c_str());
    const std::shared_ptr<MessageEntry> config =
        settings.extractor->extractRadiusConfig(settings.vap);
    if (!config) {
        reportBadKey("radius", "interface " + settings.name, ENTRY_NOT_FOUND);
        throw ENTRY_NOT_FOUND;
    }
    return std::make_shared<RadiusWorker>(
        config, settings.uplink, static_cast<RadiusWorkmode>(workmode), authMode, settings.name);
}

std::string PortalInstance::getWhiteIpListId() const {
    const MutexLock lock(whiteListMutex_);
    return whiteList_.first;
}

void PortalInstance::setWhiteIpListData(const std::pair<std::string, std::string>& data) {
    const MutexLock lock(whiteListMutex_);
    whiteList_ = data;
}

std::string PortalInstance::getSharedPortalName() const {
    return sequences_->getFirstRedirectPortalName();
}

RadiusSharedKey PortalInstance::getRadiusSharedKey() {
    return radiusWorker_ ? radiusWorker_->getRadiusSharedKey() : RadiusSharedKey{nullptr, 0};
}

void PortalInstance::addClientsEventsInformator(std::shared_ptr<Informator> informator) {
    informators().add(std::move(informator));
}

bool PortalInstance::addClient(const MacAddr& mac, const std::string& ip, unsigned int value) {
    const ClientIdentity identity(mac, ip, "", "");
    if (mac.isZero()) {
        logger().Warning("%s: station without address on %s is not admitted\n", "addClient",
                         name_.c_str());
        return false;
    }
    if (!isKnown(identity)) {
        logger().Debug("%s,%d,going to add client %s\n", "addClient", kAddRecord,
                       mac.to_string().c_str());
        insertClient(clientFactory_.build(mac, stations_.claimAddress(mac, ip), value));
    }
    return true;
}

bool PortalInstance::addClient(std::shared_ptr<MessageEntry> message,
                               std::shared_ptr<ClientMessageExtractor> extractor,
                               const std::string& ip, unsigned int value) {
    const MacAddr mac(extractor->extractMac(message));
    const ClientIdentity identity(mac, ip, "", "");
    if (mac.isZero()) {
        return false;
    }
    if (!isKnown(identity)) {
        const ClientPtr client =
            clientFactory_.restore(message, extractor, mac, stations_.claimAddress(mac, ip), value);
        insertClient(client);
        ClientStatisticInfo statistics = client->getStatistic();
        informators().handleClientScenarioChange(client, statistics);
    }
    return true;
}

bool PortalInstance::isKnown(const ClientIdentity& identity) const {
    if (!stations_.table().find(ClientIdentity(identity.mac, "", "", ""))) {
        return false;
    }
    logger().Warning("%s,%d,client '%s' is already exsists. Don't do anything\n", "addClient",
                     kKnownRecord, identity.to_string().c_str());
    return true;
}

void PortalInstance::insertClient(ClientPtr client) {
    if (radiusWorker_) {
        librad_radius_sta_info* const sta = RadiusWorker::createSta();
        if (sta != nullptr) {
            librad_radius_sta_set_mac(sta, client->getMac().bytes().data());
        }
        client->setRadiusSta(sta);
    }
    stations_.add(std::move(client));
}

int PortalInstance::authenticateClient(ClientIdentity& identity, const std::string& login,
                                       const std::string& password) {
    const ClientPtr client = findConnectedClient(identity);
    if (!client) {
        logger().Error("Not found client with ip %s\n", identity.ip.c_str());
        return CLIENT_NOT_FOUND;
    }
    // Who was let in as somebody stays that one until another login is accepted.
    const bool letIn = client->isAccessOpen() && client->isAuthorized();
    const auto takeOver = [&] {
        client->setLogin(login);
        client->setPassword(password);
    };
    if (!letIn) {
        takeOver();
    }
    if (password.empty() || !authenticator_) {
        return NOT_AUTHENTICATED;
    }
    const int result = authenticator_->makeAuthenticate(client, login, password);
    if (result == AUTHENTICATED) {
        takeOver();
        set_auth_scenario_client(client);
    }
    return result;
}

void PortalInstance::delClient(std::shared_ptr<Client> client, const CommandInfo& command) {
    logger().Debug("%s,%d,Delete client %s with reson %s\n", "delClient", kDeleteRecord,
                   client->getMacAddress().c_str(), command.getEndReasonString().c_str());
    stations_.end(client, command.getEndReason(), Deauth::no);
}

bool PortalInstance::disconnectClient(ClientIdentity& identity, const CommandInfo& command) {
    const ClientPtr client = stations_.table().find(decidingKey(identity));
    if (!client || !matchesEveryKey(*client, identity)) {
        logger().Error("%s: Not found client with identity '%s' on %s\n", "disconnectClient",
                       identity.to_string().c_str(), name_.c_str());
        return false;
    }
    logger().Debug("%s called for client %s on %s\n", "disconnectClient",
                   client->getMacAddress().c_str(), name_.c_str());
    return stations_.end(client, command.getEndReason(), Deauth::yes);
}

bool PortalInstance::removeClientWhen(RemoveWhen condition, const ClientIdentity& identity,
                                      const CommandInfo& command) {
    const ClientPtr client = stations_.table().find(identity);
    if (!client) {
        return true;
    }
    const bool due = condition == RemoveWhen::always ||
                     (condition == RemoveWhen::disconnected && !client->isConnected()) ||
                     (condition == RemoveWhen::unauthorised && !client->isAuthorized());
    return due && stations_.end(client, command.getEndReason(), Deauth::no);
}

void PortalInstance::collectWhiteLists(std::set<std::string>& names) const {
    names.insert(getWhiteIpListId());
    for (const ClientPtr& client : stations_.table()) {
        client->collectWhiteLists(names);
    }
}

bool PortalInstance::set_auth_scenario_client(std::shared_ptr<Client> client) {
    return stations_.move(client, kAuthenticated);
}

bool PortalInstance::set_deauth_scenario_client(std::shared_ptr<Client> client) {
    return stations_.move(client, kDeauthenticated);
}

bool PortalInstance::setMacAuthSuccessScenario(std::shared_ptr<Client> client) {
    return stations_.move(client, kMacAuthSuccess);
}

bool PortalInstance::setMacAuthFailureScenario(std::shared_ptr<Client> client) {
    return stations_.move(client, kMacAuthFailure);
}

bool PortalInstance::changeClient(const std::shared_ptr<Client>& client,
                                  const std::function<void(Client&)>& change) {
    if (!stations_.table().contains(*client)) {
        return false;
    }
    change(*client);
    return true;
}

void PortalInstance::updateClientIp(ClientIdentity& identity, const std::string& ip) {
    const ClientPtr client = stations_.table().find(identity);
    if (!client) {
        logger().Error("%s,%d,on vap %s client with identity '%s' not founded\n", "updateClientIp",
                       kIpOfUnknownRecord, name_.c_str(), identity.to_string().c_str());
        return;
    }
    logger().Debug("%s,%d,on vap for client '%s' add ip info %s\n", "updateClientIp", kIpRecord,
                   name_.c_str(), identity.to_string().c_str());
    const std::string claimed = stations_.claimAddress(client->getMac(), ip);
    if (!claimed.empty()) {
        stations_.setAddress(client, claimed);
    }
}

void PortalInstance::updateClientStatistic(ClientStatisticInfo& statistics) {
    const ClientPtr client = stations_.table().find(statistics.identity);
    if (!client) {
        logger().Error("%s,%d,on vap %s client with identity '%s' not founded\n",
                       "updateClientStatistic", kStatisticOfUnknownRecord, name_.c_str(),
                       statistics.identity.to_string().c_str());
        return;
    }
    if (radiusWorker_) {
        radiusWorker_->noteStatistic(*client, statistics);
    }
    client->updateStatistic(statistics);
}

void PortalInstance::checkClientsExpired() {
    rounds_.checkClientsExpired();
}

void PortalInstance::checkClientsWithoutStatistics() {
    rounds_.checkClientsWithoutStatistics();
}

void PortalInstance::makeClientsPeriodicUpdate() {
    rounds_.makeClientsPeriodicUpdate();
}

bool PortalInstance::isYourClient(ClientIdentity& identity) const {
    return stations_.table().find(identity) != nullptr;
}

bool PortalInstance::isClientConnected(ClientIdentity& identity) const {
    const ClientPtr client = findConnectedClient(decidingKey(identity));
    return client && matchesSession(*client, identity);
}

PortalInstance::ClientPtr PortalInstance::findConnectedClient(
    const ClientIdentity& identity) const {
    return stations_.table().findConnected(identity);
}

std::shared_ptr<MessageEntry> PortalInstance::dumpToMessage(
    std::shared_ptr<PortalInstanceMessageFactory> factory) const {
    factory->createMessage();
    factory->addSsid(ssid_);
    factory->addRadiusDomain(domain_);
    factory->addApLocation(apLocation_);
    return factory->getResultMessage();
}

std::shared_ptr<MessageEntry> PortalInstance::dumpClientToMessage(
    const ClientIdentity& identity, std::shared_ptr<ClientMessageFactory> factory) const {
    // Of two stations with one address the connected one is meant.
    const ClientPtr connected = findConnectedClient(identity);
    const ClientPtr client = connected ? connected : stations_.table().find(identity);
    return client ? client->dumpToMessage(factory) : nullptr;
}

Entries PortalInstance::dumpClientsToMessages(std::shared_ptr<ClientMessageFactory> factory) const {
    return dumpAll(stations_.table(), &Client::dumpToMessage, factory);
}

Entries PortalInstance::dumpScenariosToMessages(
    std::shared_ptr<ClientMessageFactory> factory) const {
    return dumpAll(stations_.table(), &Client::dumpScenarioToMessage, factory);
}

std::shared_ptr<MessageEntry> PortalInstance::dumpScenariosToMessage(
    std::shared_ptr<ClientMessageFactory> factory, const ClientIdentity& identity) const {
    const ClientPtr client = stations_.table().find(identity);
    return client ? client->dumpScenarioToMessage(factory) : nullptr;
}

}  // namespace vesta
