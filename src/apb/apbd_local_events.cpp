// What happens to the stations of this access point, and what the others are told of it. All of it
// runs under the lock of the station's instance.

#include "apb/apbd_client_message_factory.h"
#include "apb/apbd_collaborator.h"
#include "apb/apbd_requests.h"
#include "client/client.h"
#include "client/portal_instance_interface.h"
#include "core/json_entry.h"
#include "core/logger.h"
#include "ostrel/clock.h"

namespace vesta {
namespace {

ClientInformationIdentity keyOf(const Client& client) {
    return ClientInformationIdentity(client.getMacAddress(), client.getOwner().getSsid());
}

std::string vapOf(const Client& client) {
    return client.getOwner().getName();
}

// Null when the client isn't authorised.
std::shared_ptr<MessageEntry> wholeRecord(const Client& client) {
    return client.dumpToMessage(std::make_shared<APBDClientMessageFactory>());
}

std::shared_ptr<MessageEntry> changingRecord(const Client& client) {
    return client.dumpToMessage(std::make_shared<APBDUpdateClientMessageFactory>());
}

void warnFiltered(const char* operation, const Client& client) {
    logger().Warning("%s,%d,client message was filtred for %s\n", operation, __LINE__,
                     client.getMacAddress().c_str());
}

void remember(APBDEntry& entry, MessageEntry& record) {
    entry.text = record.getStringRepresentation();
    entry.receivedAt = ostrel::clock().monotonicMicroseconds();
    entry.untold = false;
    entry.cleared = false;
}

}  // namespace

bool APBDCollaborator::informClientAuthenticated(std::shared_ptr<Client> client,
                                                 ClientStatisticInfo&) {
    if (!enabled_) {
        return true;
    }
    const MutexLock lock(mutex_);
    APBDEntry* const entry = find(keyOf(*client));
    if (entry != nullptr && entry->isOnOtherVap(vapOf(*client))) {
        return true;
    }
    if (entry == nullptr || (entry->cleared && subscribed_)) {
        sendAdd(client);
        return true;
    }
    logger().Debug("%s,%d,send update to APB for exsisted client\n", "informClientAuthenticated",
                   __LINE__);
    sendUpdate(client, *entry, kApbdUpdate);
    return true;
}

bool APBDCollaborator::informClientDeuthenticated(std::shared_ptr<Client> client,
                                                  ClientStatisticInfo&) {
    if (!enabled_) {
        return true;
    }
    logger().Debug("want to send deauth inform\n");
    const MutexLock lock(mutex_);
    const Key key = keyOf(*client);
    APBDEntry* const entry = find(key);
    if (entry == nullptr || !entry->isHere() || entry->isOnOtherVap(vapOf(*client))) {
        return true;
    }
    if (!sendUpdate(client, *entry, kApbdUpdate)) {
        // Back in front of the login: the others must not let it in either.
        withdraw(key, entry->message());
    }
    return true;
}

bool APBDCollaborator::informClientConnected(std::shared_ptr<Client> client, ClientStatisticInfo&) {
    if (!enabled_) {
        return true;
    }
    const MutexLock lock(mutex_);
    APBDEntry* const entry = find(keyOf(*client));
    if (entry != nullptr && !entry->isOnOtherVap(vapOf(*client))) {
        logger().Debug("%s,%d,send assoc to APB for exsisted client\n", "informClientConnected",
                       __LINE__);
        sendUpdate(client, *entry, kApbdAssoc);
    }
    return true;
}

bool APBDCollaborator::informClientDisconnected(std::shared_ptr<Client> client,
                                                ClientStatisticInfo&) {
    if (!enabled_) {
        return true;
    }
    const MutexLock lock(mutex_);
    APBDEntry* const entry = find(keyOf(*client));
    if (entry != nullptr && entry->isHere() && !entry->isOnOtherVap(vapOf(*client)) &&
        !(entry->cleared && subscribed_)) {
        sendUpdate(client, *entry, kApbdDisassoc);
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
        warnFiltered("informClientDrop", *client);
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

void APBDCollaborator::sendAdd(const std::shared_ptr<Client>& client) {
    const Entry record = wholeRecord(*client);
    if (record == nullptr) {
        warnFiltered("informClientAuthenticated", *client);
        return;
    }
    const Key key = keyOf(*client);
    APBDEntry* const entry = insert(key);
    if (entry == nullptr) {
        return;
    }
    *entry = APBDEntry();
    remember(*entry, *record);
    entry->state = APBDEntryState::added;
    entry->vap = vapOf(*client);

    post(key, outbox_.merged(key, Kind::add), record);
}

bool APBDCollaborator::sendUpdate(std::shared_ptr<Client> client, APBDEntry& entry,
                                  std::string action) {
    const Key key = keyOf(*client);
    const Kind kind = outbox_.merged(key, Kind::update);
    const Entry record = kind == Kind::update ? changingRecord(*client) : wholeRecord(*client);
    if (record == nullptr) {
        warnFiltered("sendUpdate", *client);
        return false;
    }
    refresh(entry, *record);
    const bool leaves = action == kApbdDisassoc;
    entry.state = leaves ? APBDEntryState::received : APBDEntryState::associatedHere;
    entry.vap = leaves ? "" : vapOf(*client);

    post(key, kind, record, action);
    return true;
}

void APBDCollaborator::sendDelRequest(std::shared_ptr<Client> client,
                                      ClientStatisticInfo& statistics, std::string reason) {
    if (!enabled_ || statistics.endReason == END_REASON_APBD_REQUEST) {
        return;
    }
    const MutexLock lock(mutex_);
    const Key key = keyOf(*client);
    APBDEntry* const entry = find(key);
    if (entry == nullptr || entry->state == APBDEntryState::associatedElsewhere ||
        entry->isOnOtherVap(vapOf(*client))) {
        return;
    }
    const Entry record = wholeRecord(*client);
    if (reason != kApbdForced) {
        // A station that never got in here says nothing about its session elsewhere.
        if (record != nullptr || entry->isHere()) {
            withdraw(key, record != nullptr ? record : entry->message());
        }
        return;
    }
    if (record == nullptr) {
        warnFiltered("sendDelRequest", *client);
        return;
    }
    remember(*entry, *record);
    post(key, Kind::reset, record);
}

// Nobody is to let the station in by its record any more.
void APBDCollaborator::withdraw(const Key& key, Entry record) {
    records_.erase(key);
    post(key, Kind::remove, record);
}

}  // namespace vesta
