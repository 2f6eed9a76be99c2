#include "portal/portal.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <set>

#include "client/informator.h"
#include "client/portal_instance_interface.h"
#include "core/fatal_error.h"
#include "core/logger.h"
#include "core/quoted.h"
#include "inform/ostrel_wifi_auth_informator.h"
#include "inform/trap_informator.h"
#include "kernel/kernel_white_list_store.h"
#include "kernel/redirector_module_worker.h"
#include "kernel/shaper_module_worker.h"
#include "messages/client_information_store.h"
#include "messages/client_message_extractor.h"
#include "messages/client_message_factory.h"
#include "messages/portal_instance_messages.h"
#include "ostrel/clock.h"
#include "portal/config_dialect.h"
#include "portal/configuration_check.h"
#include "portal/portal_configuration.h"
#include "portal/portal_instance_factory.h"
#include "station/client_identity.h"
#include "station/client_statistic_info.h"
#include "station/command_info.h"
#include "whitelist/white_addresses_list.h"

namespace vesta {
namespace {

using FindByInterface = PortalInstanceInterface::PortalFindByInterface;
using FindBySsid = PortalInstanceInterface::PortalFindBySsid;

constexpr int kPassMicroseconds = 1000000;
// Without an answer of monitord for longer than this, the portal's loop checks what it can.
constexpr int kSilenceSeconds = 5;
// Between two looks for white lists that nobody refers to any more.
constexpr int kListCheckSeconds = 300;

// Stand in log records behind the name of the operation.
constexpr int kKnownClientRecord = 307;
constexpr int kUnknownSsidRecord = 399;
constexpr int kUnknownInterfaceRecord = 415;
constexpr int kClientRecord = 520;
constexpr int kUnknownClientRecord = 530;

using Entries = std::vector<std::shared_ptr<MessageEntry>>;

void append(Entries& all, Entries more) {
    all.insert(all.end(), std::make_move_iterator(more.begin()),
               std::make_move_iterator(more.end()));
}

}  // namespace

Portal::Portal(std::shared_ptr<IpcInterface> ipc, std::shared_ptr<MessageEntry> config,
               const std::string& uplink, const std::string& apLocation)
    : LoopWorker("portalWorker", kPassMicroseconds),
      ipc_(std::move(ipc)),
      redirectorWorker_(std::make_shared<RedirectorModuleWorker>(*this)),
      whiteListStore_(std::make_shared<KernelWhiteListStore>(*redirectorWorker_)),
      lastAnswer_(ostrel::monotonicSeconds()) {
    checkConfiguration(*config);
    const PortalConfiguration configuration(config);
    addWhiteIpLists(configuration);
    uplink_ = configuration.uplinkInterface(uplink);
    apLocation_ = configuration.apLocation(apLocation);
    initInterfces(configuration);
    if (instances_.empty()) {
        reportFatalError("Vap's for listen not founded. End now.\n");
        // The bus runs threads already, so nothing static may be destroyed.
        std::_Exit(1);
    }
}

Portal::~Portal() = default;

void Portal::addWhiteIpLists(const PortalConfiguration& configuration) {
    configuredLists_ = configuration.whiteLists();
    whiteListStore_->addWhiteLists(configuredLists_);
}

void Portal::initInterfces(const PortalConfiguration& configuration) {
    SharedInformators informators;
    informators.redirector = redirectorWorker_;
    informators.traps = std::make_shared<TrapInformator>(ipc_);
    informators.wifiAuth = std::make_shared<OstrelWifiAuthInformator>();
    informators.shaperFile = ShaperModuleWorker::openFile();
    configuration.forEachEnabledVap(
        [&](const auto& entry, const auto& vap) { addInstance(entry, vap, informators); });
}

void Portal::addInstance(const std::shared_ptr<MessageEntry>& entry,
                         const std::shared_ptr<MessageEntry>& vap,
                         const SharedInformators& informators) {
    const auto extractor = std::make_shared<ConfigInstanceMessageExtractor>(
        whiteListStore_, apLocation_, PortalConfiguration::nameForRecords(entry));
    if (!extractor->extractInstanceEnabled(vap)) {
        return;
    }
    instances_.push_back(PortalInstanceFactory::buildThreadsafePortalInstanceHolder(
        PortalConfiguration::nameOf(entry), uplink_, vap, extractor, informators));
    configuredDefaults_.push_back(extractor->extractWhiteIpListId(vap));
}

void Portal::start() {
    // Stations that were here before the daemon restarted must be known when they show up.
    if (const std::shared_ptr<ClientInformationStore> store = clientStore_.lock()) {
        store->awaitReady();
    }
    redirectorWorker_->run();
    LoopWorker::start();
    redirectorWorker_->stop();
    redirectorWorker_->join();
}

void Portal::sleepPeriod() {
    const std::int64_t end = ostrel::clock().monotonicMicroseconds() + period_;
    while (earlyQuestions_.awaitNext(end)) {
        guarded([this] { return askForStatistics(); });
    }
}

bool Portal::askForStatistics() {
    if (collector_) {
        collector_->getClientsInformation(this);
    }
    return true;
}

void Portal::checkWithoutStatistics() {
    if (ostrel::monotonicSeconds() - lastAnswer_ <= kSilenceSeconds) {
        return;
    }
    if (!silent_.exchange(true)) {
        logger().Warning("monitord has not answered for %d seconds: traffic is not counted\n",
                         kSilenceSeconds);
    }
    for (const Instance& instance : instances_) {
        instance->checkClientsWithoutStatistics();
    }
}

bool Portal::handle() {
    logger().tend();
    askForStatistics();
    checkWithoutStatistics();
    if (const std::shared_ptr<ClientInformationStore> store = clientStore_.lock()) {
        store->updateState();
    }
    for (const Instance& instance : instances_) {
        instance->makeClientsPeriodicUpdate();
    }
    dropUnusedLists();
    return true;
}

void Portal::dropUnusedLists() {
    const std::int64_t now = ostrel::monotonicSeconds();
    if (now < nextListCheck_ || !whiteListStore_->hasStationLists() ||
        !redirectorWorker_->isQuiet()) {
        return;
    }
    nextListCheck_ = now + kListCheckSeconds;
    std::set<std::string> used;
    for (const Instance& instance : instances_) {
        instance->collectWhiteLists(used);
    }
    if (const std::shared_ptr<ClientInformationStore> store = clientStore_.lock()) {
        store->collectWhiteLists(used);
    }
    whiteListStore_->dropUnused(used);
}

void Portal::responseCallback(std::vector<ClientStatisticInfo>& statistics) {
    lastAnswer_ = ostrel::monotonicSeconds();
    if (silent_.exchange(false)) {
        logger().Warning("monitord answers again\n");
    }
    // Records come in runs of one interface, so the last instance is nearly always the right one.
    Instance current = instances_.front();
    std::string currentInterface = current->getAttachedInterface();
    for (ClientStatisticInfo& record : statistics) {
        if (record.interface != currentInterface) {
            const auto found = std::find_if(instances_.begin(), instances_.end(),
                                            FindByInterface(record.interface));
            if (found == instances_.end()) {
                continue;
            }
            current = *found;
            currentInterface = record.interface;
        }
        current->updateClientStatistic(record);
    }
    for (const Instance& instance : instances_) {
        instance->checkClientsExpired();
    }
}

void Portal::setInformationCollector(std::shared_ptr<InformationCollector> collector) {
    collector_ = std::move(collector);
}

void Portal::setClientInformationStore(std::shared_ptr<ClientInformationStore> store) {
    clientStore_ = store;
}

void Portal::addClientsEventsInformator(std::shared_ptr<Informator> informator) {
    for (const Instance& instance : instances_) {
        instance->addClientsEventsInformator(informator);
    }
}

bool Portal::addClient(const MacAddr& mac, const std::string& ip, unsigned int value,
                       const std::string& interfaceName) {
    const auto found =
        std::find_if(instances_.begin(), instances_.end(), FindByInterface(interfaceName));
    if (found == instances_.end()) {
        logger().Debug("%s interface with name %s not found\n", "addClient", interfaceName.c_str());
        return false;
    }
    PortalInstanceInterface& instance = **found;
    ClientIdentity identity(mac, "", "", "");
    if (instance.isYourClient(identity) && !isUpToDate(instance, mac)) {
        // It comes back from another access point, and this copy is out of date.
        instance.removeClientWhen(RemoveWhen::always, identity,
                                  CommandInfo(END_REASON_APBD_REQUEST));
    } else if (instance.isYourClient(identity)) {
        logger().Debug("%s,%d, on vap %s client %s already exsists. Update information\n",
                       "addClient", kKnownClientRecord, interfaceName.c_str(),
                       identity.to_string().c_str());
        instance.updateClientIp(identity, ip);
        earlyQuestions_.want();
        return true;
    }
    const bool added =
        addRememberedClient(instance, mac, ip, value) || instance.addClient(mac, ip, value);
    earlyQuestions_.want();
    return added;
}

bool Portal::isUpToDate(const PortalInstanceInterface& instance, const MacAddr& mac) const {
    const std::shared_ptr<ClientInformationStore> store = clientStore_.lock();
    return !store || store->confirmPresence(ClientInformationIdentity(mac, instance.getSsid()),
                                            instance.getName());
}

bool Portal::addRememberedClient(PortalInstanceInterface& instance, const MacAddr& mac,
                                 const std::string& ip, unsigned int value) {
    const std::shared_ptr<ClientInformationStore> store = clientStore_.lock();
    if (!store) {
        return false;
    }
    const ClientInformationIdentity identity(mac, instance.getSsid());
    const std::shared_ptr<MessageEntry> message =
        store->takeMessageForClient(identity, instance.getName());
    if (!message) {
        return false;
    }
    logger().Debug("%s add client from APB message\n", "addClient");
    try {
        return instance.addClient(message, store->getMessageExtractor(), ip, value);
    } catch (ENTRY_EXCEPTION_TYPE) {
        logger().Error("Record of client %s can't be read, so it starts anew:\n'%s'\n",
                       mac.to_string().c_str(),
                       quotedForLog(message->getStringRepresentation()).c_str());
        store->discardMessage(identity);
        return false;
    }
}

int Portal::authenticateClient(ClientIdentity& identity, const std::string& login,
                               const std::string& password) {
    const Instance instance = findConnecting(identity);
    if (!instance) {
        // The station may be here, with its first record still to come.
        earlyQuestions_.want();
        return CLIENT_NOT_FOUND;
    }
    return instance->authenticateClient(identity, login, password);
}

bool Portal::disconnectClient(ClientIdentity& identity, const CommandInfo& command) {
    return std::any_of(instances_.begin(), instances_.end(), [&](const Instance& instance) {
        return instance->disconnectClient(identity, command);
    });
}

bool Portal::disconnectClientFromInterface(const std::string& interfaceName,
                                           ClientIdentity& identity, const CommandInfo& command) {
    const auto found =
        std::find_if(instances_.begin(), instances_.end(), FindByInterface(interfaceName));
    if (found == instances_.end()) {
        logger().Warning("%s,%d,instance for interface %s not found\n",
                         "disconnectClientFromInterface", kUnknownInterfaceRecord,
                         interfaceName.c_str());
        return false;
    }
    return (*found)->disconnectClient(identity, command);
}

bool Portal::disconnectClientFrom(const std::string& ssid, ClientIdentity& identity,
                                  const CommandInfo& command) {
    bool served = false;
    bool disconnected = false;
    for (const Instance& instance : instances_) {
        if (FindBySsid(ssid)(instance)) {
            served = true;
            if (instance->isYourClient(identity)) {
                disconnected = instance->disconnectClient(identity, command) || disconnected;
            }
        }
    }
    if (!served) {
        logger().Warning("%s,%d,instance for ssid %s not found\n", "disconnectClientFrom",
                         kUnknownSsidRecord, ssid.c_str());
    }
    return disconnected;
}

bool Portal::removeClientFrom(const std::string& ssid, const ClientIdentity& identity,
                              RemoveWhen condition, const CommandInfo& command,
                              const std::string& kept) {
    bool gone = true;
    for (const Instance& instance : instances_) {
        if (FindBySsid(ssid)(instance) && instance->getName() != kept) {
            gone = instance->removeClientWhen(condition, identity, command) && gone;
        }
    }
    return gone;
}

RadiusSharedKey Portal::getClientRadiusSharedKey(ClientIdentity& identity) {
    const Instance instance = findConnecting(identity);
    return (instance ? instance : instances_.front())->getRadiusSharedKey();
}

Portal::Instance Portal::findConnecting(ClientIdentity& identity) const {
    const auto found = std::find_if(
        instances_.begin(), instances_.end(),
        [&](const Instance& instance) { return instance->isClientConnected(identity); });
    return found != instances_.end() ? *found : nullptr;
}

std::string Portal::getProxyIp() const {
    return redirectorWorker_->getProxyIPv4();
}

std::string Portal::getProxyUrl() const {
    return "http://" + getProxyIp() + ":8888/";
}

std::shared_ptr<KernelWhiteListStore> Portal::getWhiteListStore() const {
    return whiteListStore_;
}

void Portal::clearWhiteIPLists() {
    whiteListStore_->clearWhiteLists();
    for (const Instance& instance : instances_) {
        instance->setWhiteIpListData({});
    }
    // Without the configured lists no station could reach its login page.
    whiteListStore_->addWhiteLists(configuredLists_);
    for (std::size_t i = 0; i < instances_.size(); ++i) {
        instances_[i]->setWhiteIpListData(configuredDefaults_[i]);
    }
}

void Portal::updatePortalInstance(std::shared_ptr<MessageEntry> message,
                                  std::shared_ptr<PortalInstanceMessageExtractor> extractor) {
    const std::string mobilityDomain = extractor->extractMobilityDomain(message);
    if (mobilityDomain != apLocation_) {
        logger().Warning("Config not for us with mobility_domain (ap_location) %s\n",
                         mobilityDomain.c_str());
        return;
    }
    const std::string ssid = extractor->extractSsid(message);
    const std::string domain = extractor->extractRadiusDomain(message);
    logger().Debug("Need to update portal instance %s on domains %s / %s\n", ssid.c_str(),
                   domain.c_str(), mobilityDomain.c_str());
    for (const Instance& instance : instances_) {
        if (instance->getSsid() == ssid && instance->getDomain() == domain) {
            const std::pair<std::string, std::string> list =
                extractor->extractWhiteIpListId(message);
            logger().Debug("Portal::%s add white list with id %s to %s portal instance\n",
                           "updatePortalInstance", list.first.c_str(),
                           instance->getAttachedInterface().c_str());
            instance->setWhiteIpListData(list);
        }
    }
}

bool Portal::addClientScenarios(ClientIdentity& identity,
                                std::vector<std::shared_ptr<Scenario>>& scenarios) {
    logger().Debug("Append scenarios for client %s\n", identity.to_string().c_str());
    const Instance instance = findConnecting(identity);
    return instance && instance->addClientScenarios(identity, scenarios);
}

bool Portal::setClientScenario(ClientIdentity& identity, const std::string& name,
                               AccessScenarioConstraints& constraints) {
    logger().Debug("Going to set scenario %s for client %s\n", name.c_str(),
                   identity.to_string().c_str());
    const Instance instance = findConnecting(identity);
    return instance && instance->setClientScenario(identity, name, constraints);
}

std::shared_ptr<MessageEntry> Portal::dumpClientToMessage(
    const ClientIdentity& identity, std::shared_ptr<ClientMessageFactory> factory) const {
    for (const Instance& instance : instances_) {
        if (auto message = instance->dumpClientToMessage(identity, factory)) {
            if (logger().isDebug()) {
                logger().Debug("%s,%d,For client identity '%s'\n", "dumpClientToMessage",
                               kClientRecord, identity.to_string().c_str());
            }
            return message;
        }
    }
    logger().Warning("%s,%d,Client with identity '%s' not founded\n", "dumpClientToMessage",
                     kUnknownClientRecord, identity.to_string().c_str());
    return nullptr;
}

Entries Portal::dumpInstancesToMessages(
    std::shared_ptr<PortalInstanceMessageFactory> factory) const {
    Entries all;
    for (const Instance& instance : instances_) {
        all.push_back(instance->dumpToMessage(factory));
    }
    return all;
}

Entries Portal::dumpClientsToMessages(std::shared_ptr<ClientMessageFactory> factory) const {
    Entries all;
    for (const Instance& instance : instances_) {
        append(all, instance->dumpClientsToMessages(factory));
    }
    return all;
}

Entries Portal::dumpScenariosToMessages(std::shared_ptr<ClientMessageFactory> factory) const {
    Entries all;
    for (const Instance& instance : instances_) {
        append(all, instance->dumpScenariosToMessages(factory));
    }
    return all;
}

std::shared_ptr<MessageEntry> Portal::dumpScenariosToMessage(
    std::shared_ptr<ClientMessageFactory> factory, const ClientIdentity& identity,
    const std::string& ssid) const {
    const PortalInstanceInterface::PortalFindBySsid serves(ssid);
    for (const Instance& instance : instances_) {
        if (serves(instance)) {
            if (auto message = instance->dumpScenariosToMessage(factory, identity)) {
                return message;
            }
        }
    }
    return nullptr;
}

}  // namespace vesta
