#include "apb/local_events.h"

#include "apb/apbd_dialect.h"
#include "apb/apbd_requests.h"
#include "client/client.h"
#include "client/portal_instance_interface.h"
#include "core/logger.h"

namespace vesta {
namespace {

constexpr int kLogLine = 1;

ClientInformationIdentity keyOf(const Client& client) {
    return ClientInformationIdentity(client.getMac(), client.getOwner().getSsid());
}

std::string vapOf(const Client& client) {
    return client.getOwner().getName();
}

// Null when the client isn't authorised.
std::shared_ptr<MessageEntry> wholeRecord(const Client& client) {
    return client.dumpToMessage(std::make_shared<APBDClientMessageFactory>());
}

// The record without what does not change; null when the client isn't authorised.
std::shared_ptr<MessageEntry> changingRecord(const Client& client) {
    return client.dumpToMessage(std::make_shared<APBDUpdateClientMessageFactory>());
}

void warnFiltered(const char* operation, const Client& client) {
    logger().Warning("%s,%d,client message was filtred for %s\n", operation, kLogLine,
                     client.getMacAddress().c_str());
}

}  // namespace

void LocalEvents::authenticated(const Client& client) {
    APBDEntry* const entry = records_.find(keyOf(client));
    if (entry != nullptr && entry->isOnOtherVap(vapOf(client))) {
        return;
    }
    if (entry == nullptr || (entry->cleared && outbox_.isOpen())) {
        sendAdd(client);
        return;
    }
    logger().Debug("%s,%d,send update to APB for exsisted client\n", "informClientAuthenticated",
                   kLogLine);
    sendUpdate(client, *entry, kApbdUpdate);
}

void LocalEvents::deauthenticated(const Client& client) {
    logger().Debug("want to send deauth inform\n");
    APBDEntry* const entry = recordOf(client);
    if (entry != nullptr && entry->isHere() && !sendUpdate(client, *entry, kApbdUpdate)) {
        // It is back in front of the login, and the others must not let it in either.
        withdraw(keyOf(client), entry->message());
    }
}

void LocalEvents::connected(const Client& client) {
    if (APBDEntry* const entry = recordOf(client)) {
        logger().Debug("%s,%d,send assoc to APB for exsisted client\n", "informClientConnected",
                       kLogLine);
        sendUpdate(client, *entry, kApbdAssoc);
    }
}

void LocalEvents::disconnected(const Client& client) {
    APBDEntry* const entry = recordOf(client);
    if (entry != nullptr && entry->isHere() && !(entry->cleared && outbox_.isOpen())) {
        sendUpdate(client, *entry, kApbdDisassoc);
    }
}

void LocalEvents::ended(const Client& client) {
    APBDEntry* const entry = recordOf(client);
    if (entry == nullptr || entry->state == APBDEntryState::associatedElsewhere) {
        return;
    }
    const Entry record = wholeRecord(client);
    // The end of a station that never got in here says nothing about its session elsewhere.
    if (record != nullptr || entry->isHere()) {
        withdraw(keyOf(client), record != nullptr ? record : entry->message());
    }
}

void LocalEvents::reset(const Client& client) {
    APBDEntry* const entry = recordOf(client);
    if (entry == nullptr || entry->state == APBDEntryState::associatedElsewhere) {
        return;
    }
    const Entry record = wholeRecord(client);
    if (record == nullptr) {
        warnFiltered("sendDelRequest", client);
        return;
    }
    entry->store(*record);
    outbox_.post(keyOf(client), Kind::reset, record);
}

bool LocalEvents::sendUpdate(const Client& client, APBDEntry& entry, const std::string& action) {
    const Key key = keyOf(client);
    const Entry record = outbox_.isWholeWaiting(key) ? wholeRecord(client) : changingRecord(client);
    if (record == nullptr) {
        warnFiltered("sendUpdate", client);
        return false;
    }
    entry.update(*record);
    const bool leaves = action == kApbdDisassoc;
    entry.state = leaves ? APBDEntryState::received : APBDEntryState::associatedHere;
    entry.vap = leaves ? "" : vapOf(client);
    outbox_.post(key, Kind::update, record, action);
    return true;
}

void LocalEvents::tellUntold() {
    for (const Key& key : records_.settle()) {
        outbox_.post(key, Kind::add, records_.find(key)->agedMessage());
    }
}

APBDEntry* LocalEvents::recordOf(const Client& client) {
    APBDEntry* const entry = records_.find(keyOf(client));
    return entry != nullptr && !entry->isOnOtherVap(vapOf(client)) ? entry : nullptr;
}

void LocalEvents::sendAdd(const Client& client) {
    const Entry record = wholeRecord(client);
    if (record == nullptr) {
        warnFiltered("informClientAuthenticated", client);
        return;
    }
    const Key key = keyOf(client);
    APBDEntry* const entry = records_.insert(key);
    if (entry == nullptr) {
        return;
    }
    entry->store(*record);
    entry->state = APBDEntryState::added;
    entry->vap = vapOf(client);
    outbox_.post(key, Kind::add, record);
}

void LocalEvents::withdraw(const Key& key, const Entry& record) {
    records_.erase(key);
    outbox_.post(key, Kind::remove, record);
}

}  // namespace vesta
