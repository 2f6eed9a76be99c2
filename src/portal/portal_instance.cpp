#include "portal/portal_instance.h"

#include <algorithm>
#include <exception>

#include "auth/portal_mac_authenticator.h"
#include "auth/radius_authenticator.h"
#include "client/client.h"
#include "core/logger.h"
#include "core/required_key.h"
#include "device/network_interface.h"
#include "kernel/shaper_module_worker.h"
#include "messages/portal_instance_message_extractor.h"
#include "portal/identity_match.h"
#include "radius/radius_worker.h"
#include "scenario/scenario_sequence.h"
#include "scenario/scenario_sequence_factory.h"

namespace vesta {
namespace {

int ageTimeoutOf(const PortalInstance::Settings& settings) {
    // Negative means that the configuration carries none.
    return static_cast<int>(std::max(0L, settings.extractor->extractAgeTimeout(settings.vap)));
}

}  // namespace

PortalInstance::PortalInstance(const Settings& settings,
                               std::unique_ptr<ScenarioSequenceFactory> sequences)
    : name_(settings.name),
      uplink_(settings.uplink),
      interfaceMac_(interfaceMac(settings.name)),
      ssid_(settings.extractor->extractSsid(settings.vap)),
      domain_(settings.extractor->extractRadiusDomain(settings.vap)),
      apLocation_(settings.extractor->extractMobilityDomain(settings.vap)),
      ageTimeout_(ageTimeoutOf(settings)),
      authMode_(parseAuthMode(settings.extractor->extractVereficationMode(settings.vap))),
      owner_(settings.owner != nullptr ? *settings.owner : *this),
      sequences_(std::move(sequences)),
      whiteList_(settings.extractor->extractWhiteIpListId(settings.vap)) {
    ConfigureRadiusWorker(settings);
    configureAuthenticator();
    addClientsEventsInformator(std::make_shared<ShaperModuleWorker>(name_));
}

PortalInstance::~PortalInstance() {
    if (!radiusWorker_) {
        return;
    }
    // The worker's answers go to the authenticator.
    radiusWorker_->close();
    for (const ClientPtr& client : clients_) {
        RadiusWorker::deleteSta(client->getRadiusSta());
        client->setRadiusSta(nullptr);
    }
}

void PortalInstance::ConfigureRadiusWorker(const Settings& settings) {
    unsigned int workmode = RADIUS_WORKMODE_NONE;
    if (authMode_ == AUTH_MODE_RADIUS || authMode_ == AUTH_MODE_PORTAL_MAC) {
        workmode |= RADIUS_WORKMODE_AUTHENTICATION;
    }
    if (settings.extractor->extractRadiusAccounting(settings.vap)) {
        workmode |= RADIUS_WORKMODE_ACCOUNTING;
    }
    if (workmode == RADIUS_WORKMODE_NONE) {
        return;
    }
    logger().Debug("Go to configure radius for instance %s\n", name_.c_str());
    const std::shared_ptr<MessageEntry> config =
        settings.extractor->extractRadiusConfig(settings.vap);
    if (!config) {
        reportBadKey("radius", "interface " + name_, ENTRY_NOT_FOUND);
        throw ENTRY_NOT_FOUND;
    }
    radiusWorker_ = std::make_shared<RadiusWorker>(
        config, uplink_, static_cast<RadiusWorkmode>(workmode), authMode_, name_);
    addClientsEventsInformator(radiusWorker_);
}

void PortalInstance::configureAuthenticator() {
    switch (authMode_) {
        case AUTH_MODE_LOCAL:
            authenticator_ = std::make_unique<LocalAuthenticator>();
            return;
        case AUTH_MODE_PORTAL:
            authenticator_ = std::make_unique<PortalAuthenticator>();
            return;
        case AUTH_MODE_RADIUS:
            authenticator_ = std::make_unique<RadiusAuthenticator>(radiusWorker_, owner_);
            return;
        case AUTH_MODE_PORTAL_MAC:
            authenticator_ = std::make_unique<PortalMacAuthenticator>(radiusWorker_, owner_);
            return;
    }
    logger().Error("Not expected authenticateMode = %d.\n", static_cast<int>(authMode_));
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
    informators_.push_back(std::move(informator));
}

void PortalInstance::informatorsHandle(ClientPtr client, ClientStatisticInfo& statistics,
                                       InformatorCall call) {
    for (const std::shared_ptr<Informator>& informator : informators_) {
        try {
            ((*informator).*call)(client, statistics);
        } catch (const std::exception& failure) {
            logger().Error("%s: informator failed for client %s: %s\n", "informatorsHandle",
                           client->getMacAddress().c_str(), failure.what());
        } catch (...) {
            logger().Error("%s: informator failed for client %s\n", "informatorsHandle",
                           client->getMacAddress().c_str());
        }
    }
}

void PortalInstance::handleClientScenarioChange(ClientPtr client, ClientStatisticInfo& statistics) {
    switch (client->getAccessType()) {
        case ACCESS_ALLOW:
            informatorsHandle(client, statistics, &Informator::informClientAuthenticated);
            return;
        case ACCESS_REDIRECT:
            informatorsHandle(client, statistics, &Informator::informClientDeuthenticated);
            return;
        case ACCESS_DROP:
            informatorsHandle(client, statistics, &Informator::informClientDrop);
            return;
    }
    logger().Error("%s Try set unknown redirector scenario!\n", "handleClientScenarioChange");
}

bool PortalInstance::addClient(const std::string& mac, const std::string& ip, unsigned int value) {
    const ClientIdentity identity(mac, ip, "", "");
    if (identity.mac.isZero()) {
        logger().Warning("%s: station without address on %s is not admitted\n", "addClient",
                         name_.c_str());
        return false;
    }
    if (clients_.find(identity)) {
        logger().Warning("%s,%d,client '%s' is already exsists. Don't do anything\n", "addClient",
                         227, identity.to_string().c_str());
        return true;
    }
    logger().Debug("%s,%d,going to add client %s\n", "addClient", 232, mac.c_str());
    insertClient(std::make_shared<Client>(sequences_->build(), mac, ip, value, owner_));
    return true;
}

void PortalInstance::insertClient(ClientPtr client) {
    if (clients_.neverConnectedCount() >= kMaxNeverConnected) {
        removeClient(clients_.oldestNeverConnected(), END_REASON_DISCONNECTED);
    }
    if (radiusWorker_) {
        librad_radius_sta_info* const sta = RadiusWorker::createSta();
        if (sta != nullptr) {
            librad_radius_sta_set_mac(sta, client->getMac().bytes().data());
        }
        client->setRadiusSta(sta);
    }
    clients_.add(std::move(client));
}

int PortalInstance::authenticateClient(ClientIdentity& identity, const std::string& login,
                                       const std::string& password) {
    const ClientPtr client = findConnectedClient(identity);
    if (!client) {
        logger().Error("Not found client with ip %s\n", identity.ip.c_str());
        return CLIENT_NOT_FOUND;
    }
    client->setLogin(login);
    client->setPassword(password);
    if (password.empty() || !authenticator_) {
        return NOT_AUTHENTICATED;
    }
    const int result = authenticator_->makeAuthenticate(client, login, password);
    if (result == AUTHENTICATED) {
        set_auth_scenario_client(client);
    }
    return result;
}

void PortalInstance::delClient(std::shared_ptr<Client> client, const CommandInfo& command) {
    logger().Debug("%s,%d,Delete client %s with reson %s\n", "delClient", 284,
                   client->getMacAddress().c_str(), command.getEndReasonString().c_str());
    if (clients_.contains(*client)) {
        handleClientRemove(client, command);
        clients_.erase(client);
    }
}

bool PortalInstance::disconnectClient(ClientIdentity& identity, const CommandInfo& command) {
    const ClientPtr client = clients_.find(decidingKey(identity));
    if (!client || !matchesEveryKey(*client, identity)) {
        logger().Error("%s: Not found client with identity '%s' on %s\n", "disconnectClient",
                       identity.to_string().c_str(), name_.c_str());
        return false;
    }
    logger().Debug("%s called for client %s on %s\n", "disconnectClient",
                   client->getMacAddress().c_str(), name_.c_str());
    client->disconnect_client();
    handleClientRemove(client, command);
    clients_.erase(client);
    return true;
}

void PortalInstance::handleClientRemove(const ClientPtr& client, const CommandInfo& command) {
    ClientStatisticInfo statistics = client->getStatistic(command.getEndReason());
    logger().Debug("%s,%d,handle client remove with reason %s\n", "handleClientRemove", 192,
                   command.getEndReasonString().c_str());
    informatorsHandle(client, statistics, &Informator::informClientRemoved);
}

void PortalInstance::removeClient(const ClientPtr& client, EndReason reason) {
    handleClientRemove(client, CommandInfo(reason));
    clients_.erase(client);
}

bool PortalInstance::moveClient(const ClientPtr& client, EndReason reason, bool (Client::*move)(),
                                const char* operation, const char* format) {
    if (!clients_.contains(*client)) {
        return false;
    }
    const std::string mac = client->getMacAddress();
    ClientStatisticInfo statistics = client->getStatistic(reason);
    logger().Debug(format, operation, __LINE__, mac.c_str());
    if (!((*client).*move)()) {
        logger().Warning("%s,%d,next scenario for %s not found!\n", operation, __LINE__,
                         mac.c_str());
        return false;
    }
    handleClientScenarioChange(client, statistics);
    return true;
}

bool PortalInstance::set_auth_scenario_client(std::shared_ptr<Client> client) {
    return moveClient(client, END_REASON_NONE, &Client::set_auth_scenario_client,
                      "set_auth_scenario_client", "%s,%d,set auth scenario for %s\n");
}

bool PortalInstance::set_deauth_scenario_client(std::shared_ptr<Client> client) {
    return moveClient(client, END_REASON_TIME_EXPIRED, &Client::set_deauth_scenario_client,
                      "set_deauth_scenario_client", "%s,%d,set deauth scenario for %s\n");
}

bool PortalInstance::setMacAuthSuccessScenario(std::shared_ptr<Client> client) {
    return moveClient(client, END_REASON_NONE, &Client::setMacAuthSuccessScenario,
                      "setMacAuthSuccessScenario",
                      "%s,%d,enable success mac auth scenario for %s\n");
}

bool PortalInstance::setMacAuthFailureScenario(std::shared_ptr<Client> client) {
    return moveClient(client, END_REASON_NONE, &Client::setMacAuthFailureScenario,
                      "setMacAuthFailureScenario",
                      "%s,%d,enable failure mac auth scenario for %s\n");
}

bool PortalInstance::changeClient(const std::shared_ptr<Client>& client,
                                  const std::function<void(Client&)>& change) {
    if (!clients_.contains(*client)) {
        return false;
    }
    change(*client);
    return true;
}

void PortalInstance::updateClientIp(ClientIdentity& identity, const std::string& ip) {
    const ClientPtr client = clients_.find(identity);
    if (!client) {
        logger().Error("%s,%d,on vap %s client with identity '%s' not founded\n", "updateClientIp",
                       365, name_.c_str(), identity.to_string().c_str());
        return;
    }
    logger().Debug("%s,%d,on vap for client '%s' add ip info %s\n", "updateClientIp", 371,
                   name_.c_str(), identity.to_string().c_str());
    client->setIpAddress(ip);
}

void PortalInstance::updateClientStatistic(ClientStatisticInfo& statistics) {
    const ClientPtr client = clients_.find(statistics.identity);
    if (!client) {
        logger().Error("%s,%d,on vap %s client with identity '%s' not founded\n",
                       "updateClientStatistic", 382, name_.c_str(),
                       statistics.identity.to_string().c_str());
        return;
    }
    if (radiusWorker_) {
        radiusWorker_->noteStatistic(*client, statistics);
    }
    client->updateStatistic(statistics);
}

bool PortalInstance::isYourClient(ClientIdentity& identity) const {
    return clients_.find(identity) != nullptr;
}

bool PortalInstance::isClientConnected(ClientIdentity& identity) const {
    const ClientPtr client = findConnectedClient(decidingKey(identity));
    return client && matchesSession(*client, identity);
}

PortalInstance::ClientPtr PortalInstance::findConnectedClient(
    const ClientIdentity& identity) const {
    return clients_.findConnected(identity);
}

}  // namespace vesta
