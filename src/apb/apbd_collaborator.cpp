#include "apb/apbd_collaborator.h"

#include "apb/apbd_dialect.h"
#include "apb/apbd_requests.h"
#include "apb/portal_changes.h"
#include "client/client.h"
#include "core/json_entry.h"
#include "core/logger.h"
#include "core/optional_value.h"
#include "core/singleton.h"
#include "device/factory_data.h"
#include "kernel/kernel_white_list_store.h"
#include "ostrel/clock.h"
#include "ostrel/ipc.h"
#include "portal/portal.h"
#include "station/client_statistic_info.h"

namespace vesta {
namespace {

constexpr std::int64_t kRetryMicroseconds = 10000000;
constexpr int kLogLine = 1;

std::shared_ptr<MessageEntry> apbdSection(MessageEntry& config) {
    return valueOr(std::shared_ptr<MessageEntry>(),
                   [&] { return config.getObjectValue("captive-portal")->getObjectValue("apbd"); });
}

bool isEnabled(MessageEntry& section) {
    return valueOr(false, [&] { return section.getBoolValue("enabled"); });
}

}  // namespace

APBDCollaborator::APBDCollaborator(std::shared_ptr<MessageEntry> config,
                                   std::shared_ptr<IpcInterface> ipc,
                                   std::shared_ptr<Portal> portal)
    : ipc_(std::move(ipc)),
      portal_(portal),
      outbox_(ipc_),
      events_(records_, outbox_),
      news_(records_, outbox_) {
    const std::shared_ptr<MessageEntry> section = apbdSection(*config);
    if (section == nullptr) {
        logger().Debug("No apbd part in configuration!\n");
        return;
    }
    if (!isEnabled(*section)) {
        logger().Debug("APB not enabled. Clients not gonna be synced over APs\n");
        return;
    }
    enabled_ = true;
    asked_ = sendStatusRequest();
    const MutexLock lock(mutex_);
    lastAttempt_ = ostrel::clock().monotonicMicroseconds();
}

bool APBDCollaborator::informClientAuthenticated(std::shared_ptr<Client> client,
                                                 ClientStatisticInfo&) {
    if (enabled_) {
        const MutexLock lock(mutex_);
        events_.authenticated(*client);
    }
    return true;
}

bool APBDCollaborator::informClientDeuthenticated(std::shared_ptr<Client> client,
                                                  ClientStatisticInfo&) {
    if (enabled_) {
        const MutexLock lock(mutex_);
        events_.deauthenticated(*client);
    }
    return true;
}

bool APBDCollaborator::informClientConnected(std::shared_ptr<Client> client, ClientStatisticInfo&) {
    if (enabled_) {
        const MutexLock lock(mutex_);
        events_.connected(*client);
    }
    return true;
}

bool APBDCollaborator::informClientDisconnected(std::shared_ptr<Client> client,
                                                ClientStatisticInfo&) {
    if (enabled_) {
        const MutexLock lock(mutex_);
        events_.disconnected(*client);
    }
    return true;
}

bool APBDCollaborator::informClientDrop(std::shared_ptr<Client> client,
                                        ClientStatisticInfo& statistics) {
    if (!enabled_) {
        return true;
    }
    logger().Debug("APB %s\n", "informClientDrop");
    if (!client->isAuthorized()) {
        logger().Warning("%s,%d,client message was filtred for %s\n", "informClientDrop", kLogLine,
                         client->getMacAddress().c_str());
    }
    sendDelRequest(client, statistics, kApbdAwayTimeout);
    return true;
}

bool APBDCollaborator::informClientRemoved(std::shared_ptr<Client> client,
                                           ClientStatisticInfo& statistics) {
    sendDelRequest(client, statistics, kApbdAwayTimeout);
    return true;
}

bool APBDCollaborator::informClientResetNeeded(std::shared_ptr<Client> client,
                                               ClientStatisticInfo& statistics) {
    sendDelRequest(client, statistics, kApbdForced);
    return true;
}

std::shared_ptr<MessageEntry> APBDCollaborator::getMessageForClient(const Key& identity) {
    const MutexLock lock(mutex_);
    return records_.get(identity);
}

std::shared_ptr<MessageEntry> APBDCollaborator::takeMessageForClient(const Key& identity,
                                                                     const std::string& vap) {
    const MutexLock lock(mutex_);
    return records_.take(identity, vap);
}

bool APBDCollaborator::confirmPresence(const Key& identity, const std::string& vap) {
    const MutexLock lock(mutex_);
    return records_.confirmPresence(identity, vap);
}

void APBDCollaborator::discardMessage(const Key& identity) {
    const MutexLock lock(mutex_);
    records_.erase(identity);
}

void APBDCollaborator::collectWhiteLists(std::set<std::string>& names) {
    const MutexLock lock(mutex_);
    records_.collectWhiteLists(names);
}

std::shared_ptr<ClientMessageExtractor> APBDCollaborator::getMessageExtractor() {
    const std::shared_ptr<Portal> portal = portal_.lock();
    return portal != nullptr
               ? std::make_shared<APBDClientMessageExtractor>(portal->getWhiteListStore())
               : nullptr;
}

void APBDCollaborator::awaitReady() {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    const MutexLock lock(mutex_);
    while (asked_ && !outbox_.isOpen() && std::chrono::steady_clock::now() < deadline) {
        subscription_.waitFor(mutex_, std::chrono::milliseconds(100));
    }
}

void APBDCollaborator::updateState() {
    const std::shared_ptr<Portal> portal = portal_.lock();
    if (!enabled_ || portal == nullptr) {
        return;
    }
    bool subscribe = false;
    std::vector<Key> suspected;
    {
        const MutexLock lock(mutex_);
        const std::int64_t now = ostrel::clock().monotonicMicroseconds();
        if (outbox_.isOpen()) {
            if (now >= settleAt_) {
                settleAt_ = kNever;
                events_.tellUntold();
            }
            outbox_.flush();
        } else if (now - lastAttempt_ > kRetryMicroseconds) {
            lastAttempt_ = now;
            subscribe = true;
        }
        suspected = records_.suspectedCopies();
    }
    if (subscribe) {
        sendSubscribeRequest(portal);
    }
    for (const Key& key : suspected) {
        removeWrongCopies(*portal, key);
    }
}

bool APBDCollaborator::sendStatusRequest() {
    if (!enabled_) {
        return false;
    }
    JsonEntry request(kApbdStatusRequest);
    const std::string text = request.getStringRepresentation();
    logger().Debug("Send status request to apbd:\n'%s'\n", text.c_str());
    return ipc_->send(text, IPC_MODULE_APBD);
}

void APBDCollaborator::sendSubscribeRequest(std::shared_ptr<Portal> portal) {
    if (!enabled_ || portal == nullptr) {
        return;
    }
    JsonEntry request(kApbdSubscribeRequest);
    request.insertStringValue("ap-mac", Singleton<Factory>::getInstance().getMac().c_str());
    request.insertArrayValue(
        "mobility-domain-list",
        portal->dumpInstancesToMessages(std::make_shared<APBDPortalInstanceMessageFactory>()));
    const std::string text = request.getStringRepresentation();
    logger().Debug("Send subscribe-request to APB server:\n'%s'\n", text.c_str());
    ipc_->send(text, IPC_MODULE_APBD);
}

void APBDCollaborator::connectedNotify() {
    if (!enabled_) {
        return;
    }
    {
        const MutexLock lock(mutex_);
        lastAttempt_ = ostrel::clock().monotonicMicroseconds();
        settleAt_ = kNever;
        records_.awaitAll();
        outbox_.flush();  // before apbd looks up what to answer
    }
    sendSubscribeRequest(portal_.lock());
}

void APBDCollaborator::disconnectedNotify() {
    if (!enabled_) {
        return;
    }
    {
        const MutexLock lock(mutex_);
        if (!outbox_.isOpen()) {
            return;
        }
        logger().Debug("%s,%d,Receive disconnect notify from APB. Clear all APB data\n",
                       "disconnectedNotify", kLogLine);
        outbox_.close();
        records_.clearAll();
    }
    if (const std::shared_ptr<Portal> portal = portal_.lock()) {
        portal->clearWhiteIPLists();
    }
}

void APBDCollaborator::subscribedNotify(std::shared_ptr<MessageEntry> message) {
    const std::shared_ptr<Portal> portal = portal_.lock();
    if (!enabled_ || portal == nullptr) {
        return;
    }
    std::vector<Entry> users;
    try {
        if (textOrEmpty(*message, "status") == "failed") {
            throw ENTRY_NOT_FOUND;
        }
        users = usersOf(*message);
    } catch (ENTRY_EXCEPTION_TYPE) {
        logUnexpectedMessage(*message);
        const MutexLock lock(mutex_);
        outbox_.close();
        return;
    }
    const std::vector<Key> keys = processClientsMessages(users, Source::subscription);
    takeWhiteLists(*portal, message);
    removeUnauthorised(*portal, keys);
}

void APBDCollaborator::handleAddClients(std::shared_ptr<MessageEntry> message) {
    if (const std::shared_ptr<Portal> portal = notifiedPortal()) {
        removeUnauthorised(*portal,
                           processClientsMessages(usersOf(*message), Source::notification));
    }
}

void APBDCollaborator::handleUpdateClients(std::shared_ptr<MessageEntry> message) {
    const std::shared_ptr<Portal> portal = notifiedPortal();
    if (portal == nullptr) {
        return;
    }
    const std::string action = message->getCharValue("action");
    for (const DomainStation& station : stationsOf(usersOf(*message))) {
        switch (takeUpdate(station, action)) {
            case DomainNews::Consequence::none:
                break;
            case DomainNews::Consequence::disconnect:
                disconnectStation(*portal, station.first);
                break;
            case DomainNews::Consequence::removeCopies:
                removeWrongCopies(*portal, station.first);
                break;
        }
    }
}

void APBDCollaborator::handleDeleteClients(std::shared_ptr<MessageEntry> message) {
    const std::shared_ptr<Portal> portal = notifiedPortal();
    if (portal == nullptr) {
        return;
    }
    for (const DomainStation& station : stationsOf(usersOf(*message))) {
        {
            const MutexLock lock(mutex_);
            news_.forget(station.first);
        }
        disconnectStation(*portal, station.first);
    }
}

void APBDCollaborator::sendDelRequest(std::shared_ptr<Client> client,
                                      ClientStatisticInfo& statistics, std::string reason) {
    if (!enabled_ || statistics.endReason == END_REASON_APBD_REQUEST) {
        return;
    }
    const MutexLock lock(mutex_);
    if (reason == kApbdForced) {
        events_.reset(*client);
    } else {
        events_.ended(*client);
    }
}

std::vector<ClientInformationIdentity> APBDCollaborator::processClientsMessages(
    const std::vector<Entry>& users, Source source) {
    logger().Debug("%s,%d,Receive %d users from subscribe responce\n", "processClientsMessages",
                   kLogLine, static_cast<int>(users.size()));
    const std::vector<DomainStation> stations = stationsOf(users);
    const MutexLock lock(mutex_);
    std::vector<Key> known = news_.takeIn(stations);
    if (source == Source::subscription) {
        settleAt_ = ostrel::clock().monotonicMicroseconds() + kTellingMicroseconds;
        outbox_.open();
        subscription_.notifyAll();
    }
    return known;
}

std::shared_ptr<Portal> APBDCollaborator::notifiedPortal() {
    const MutexLock lock(mutex_);
    return outbox_.isOpen() ? portal_.lock() : nullptr;
}

DomainNews::Consequence APBDCollaborator::takeUpdate(const DomainStation& station,
                                                     const std::string& action) {
    const MutexLock lock(mutex_);
    return news_.update(station, action);
}

void APBDCollaborator::removeWrongCopies(Portal& portal, const Key& key) {
    std::optional<std::string> vap;
    {
        const MutexLock lock(mutex_);
        records_.forgetCopies(key);
        vap = records_.rightfulVap(key);
    }
    if (vap && !removeCopies(portal, key, *vap)) {
        const MutexLock lock(mutex_);
        records_.suspectCopies(key);
    }
}

}  // namespace vesta
