#include "portal/threadsafe_portal_instance_holder.h"

namespace vesta {

void ThreadsafePortalInstanceHolder::setInstance(
    std::shared_ptr<PortalInstanceInterface> instance) {
    instance_ = std::move(instance);
}

std::string ThreadsafePortalInstanceHolder::getName() const {
    return instance_->getName();
}

std::string ThreadsafePortalInstanceHolder::getAttachedInterface() const {
    return instance_->getAttachedInterface();
}

std::string ThreadsafePortalInstanceHolder::getAttachedInterfaceMac() const {
    return instance_->getAttachedInterfaceMac();
}

std::string ThreadsafePortalInstanceHolder::getSsid() const {
    return instance_->getSsid();
}

std::string ThreadsafePortalInstanceHolder::getDomain() const {
    return instance_->getDomain();
}

std::string ThreadsafePortalInstanceHolder::getApLocation() const {
    return instance_->getApLocation();
}

std::string ThreadsafePortalInstanceHolder::getWhiteIpListId() const {
    return instance_->getWhiteIpListId();
}

void ThreadsafePortalInstanceHolder::setWhiteIpListData(
    const std::pair<std::string, std::string>& data) {
    instance_->setWhiteIpListData(data);
}

void ThreadsafePortalInstanceHolder::addClientsEventsInformator(
    std::shared_ptr<Informator> informator) {
    const MutexLock lock(mutex_);
    instance_->addClientsEventsInformator(std::move(informator));
}

bool ThreadsafePortalInstanceHolder::addClient(const MacAddr& mac, const std::string& ip,
                                               unsigned int value) {
    const MutexLock lock(mutex_);
    return instance_->addClient(mac, ip, value);
}

bool ThreadsafePortalInstanceHolder::addClient(std::shared_ptr<MessageEntry> message,
                                               std::shared_ptr<ClientMessageExtractor> extractor,
                                               const std::string& ip, unsigned int value) {
    const MutexLock lock(mutex_);
    return instance_->addClient(std::move(message), std::move(extractor), ip, value);
}

int ThreadsafePortalInstanceHolder::authenticateClient(ClientIdentity& identity,
                                                       const std::string& login,
                                                       const std::string& password) {
    const MutexLock lock(mutex_);
    return instance_->authenticateClient(identity, login, password);
}

void ThreadsafePortalInstanceHolder::delClient(std::shared_ptr<Client> client,
                                               const CommandInfo& command) {
    const MutexLock lock(mutex_);
    instance_->delClient(std::move(client), command);
}

bool ThreadsafePortalInstanceHolder::set_auth_scenario_client(std::shared_ptr<Client> client) {
    const MutexLock lock(mutex_);
    return instance_->set_auth_scenario_client(std::move(client));
}

bool ThreadsafePortalInstanceHolder::set_deauth_scenario_client(std::shared_ptr<Client> client) {
    const MutexLock lock(mutex_);
    return instance_->set_deauth_scenario_client(std::move(client));
}

bool ThreadsafePortalInstanceHolder::setMacAuthSuccessScenario(std::shared_ptr<Client> client) {
    const MutexLock lock(mutex_);
    return instance_->setMacAuthSuccessScenario(std::move(client));
}

bool ThreadsafePortalInstanceHolder::setMacAuthFailureScenario(std::shared_ptr<Client> client) {
    const MutexLock lock(mutex_);
    return instance_->setMacAuthFailureScenario(std::move(client));
}

bool ThreadsafePortalInstanceHolder::changeAndMoveClient(const std::shared_ptr<Client>& client,
                                                         const std::function<void(Client&)>& change,
                                                         Move move) {
    const MutexLock lock(mutex_);
    return instance_->changeAndMoveClient(client, change, move);
}

bool ThreadsafePortalInstanceHolder::changeClient(const std::shared_ptr<Client>& client,
                                                  const std::function<void(Client&)>& change) {
    const MutexLock lock(mutex_);
    return instance_->changeClient(client, change);
}

bool ThreadsafePortalInstanceHolder::setClientScenario(ClientIdentity& identity,
                                                       const std::string& name,
                                                       AccessScenarioConstraints& constraints) {
    const MutexLock lock(mutex_);
    return instance_->setClientScenario(identity, name, constraints);
}

bool ThreadsafePortalInstanceHolder::addClientScenarios(
    ClientIdentity& identity, std::vector<std::shared_ptr<Scenario>>& scenarios) {
    const MutexLock lock(mutex_);
    return instance_->addClientScenarios(identity, scenarios);
}

std::string ThreadsafePortalInstanceHolder::getSharedPortalName() const {
    return instance_->getSharedPortalName();
}

void ThreadsafePortalInstanceHolder::updateClientIp(ClientIdentity& identity,
                                                    const std::string& ip) {
    const MutexLock lock(mutex_);
    instance_->updateClientIp(identity, ip);
}

void ThreadsafePortalInstanceHolder::updateClientStatistic(ClientStatisticInfo& statistics) {
    const MutexLock lock(mutex_);
    instance_->updateClientStatistic(statistics);
}

void ThreadsafePortalInstanceHolder::checkClientsExpired() {
    const MutexLock lock(mutex_);
    instance_->checkClientsExpired();
}

void ThreadsafePortalInstanceHolder::checkClientsWithoutStatistics() {
    const MutexLock lock(mutex_);
    instance_->checkClientsWithoutStatistics();
}

void ThreadsafePortalInstanceHolder::makeClientsPeriodicUpdate() {
    const MutexLock lock(mutex_);
    instance_->makeClientsPeriodicUpdate();
}

bool ThreadsafePortalInstanceHolder::disconnectClient(ClientIdentity& identity,
                                                      const CommandInfo& command) {
    const MutexLock lock(mutex_);
    return instance_->disconnectClient(identity, command);
}

bool ThreadsafePortalInstanceHolder::isYourClient(ClientIdentity& identity) const {
    const MutexLock lock(mutex_);
    return instance_->isYourClient(identity);
}

bool ThreadsafePortalInstanceHolder::isClientConnected(ClientIdentity& identity) const {
    const MutexLock lock(mutex_);
    return instance_->isClientConnected(identity);
}

RadiusSharedKey ThreadsafePortalInstanceHolder::getRadiusSharedKey() {
    return instance_->getRadiusSharedKey();
}

std::shared_ptr<MessageEntry> ThreadsafePortalInstanceHolder::dumpToMessage(
    std::shared_ptr<PortalInstanceMessageFactory> factory) const {
    const MutexLock lock(mutex_);
    return instance_->dumpToMessage(std::move(factory));
}

std::shared_ptr<MessageEntry> ThreadsafePortalInstanceHolder::dumpClientToMessage(
    const ClientIdentity& identity, std::shared_ptr<ClientMessageFactory> factory) const {
    const MutexLock lock(mutex_);
    return instance_->dumpClientToMessage(identity, std::move(factory));
}

std::vector<std::shared_ptr<MessageEntry>> ThreadsafePortalInstanceHolder::dumpClientsToMessages(
    std::shared_ptr<ClientMessageFactory> factory) const {
    const MutexLock lock(mutex_);
    return instance_->dumpClientsToMessages(std::move(factory));
}

std::vector<std::shared_ptr<MessageEntry>> ThreadsafePortalInstanceHolder::dumpScenariosToMessages(
    std::shared_ptr<ClientMessageFactory> factory) const {
    const MutexLock lock(mutex_);
    return instance_->dumpScenariosToMessages(std::move(factory));
}

std::shared_ptr<MessageEntry> ThreadsafePortalInstanceHolder::dumpScenariosToMessage(
    std::shared_ptr<ClientMessageFactory> factory, const ClientIdentity& identity) const {
    const MutexLock lock(mutex_);
    return instance_->dumpScenariosToMessage(std::move(factory), identity);
}

bool ThreadsafePortalInstanceHolder::removeClientWhen(RemoveWhen condition,
                                                      const ClientIdentity& identity,
                                                      const CommandInfo& command) {
    const MutexLock lock(mutex_);
    return instance_->removeClientWhen(condition, identity, command);
}

void ThreadsafePortalInstanceHolder::collectWhiteLists(std::set<std::string>& names) const {
    const MutexLock lock(mutex_);
    instance_->collectWhiteLists(names);
}

}  // namespace vesta
