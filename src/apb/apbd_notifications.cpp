// What apbd tells of the other access points, on the listener's thread.

#include "apb/apb_portal_instance_message_extractor.h"
#include "apb/apb_white_list_extractor.h"
#include "apb/apbd_collaborator.h"
#include "apb/apbd_requests.h"
#include "client/portal_instance_interface.h"
#include "core/json_entry.h"
#include "core/logger.h"
#include "kernel/kernel_white_list_store.h"
#include "ostrel/clock.h"
#include "portal/portal.h"
#include "station/client_identity.h"
#include "station/command_info.h"
#include "whitelist/white_addresses_list.h"

namespace vesta {
namespace {

using Entry = std::shared_ptr<MessageEntry>;
using Key = ClientInformationIdentity;

constexpr const char* kUser = "user";
constexpr const char* kMac = "sta-mac";

bool holds(MessageEntry& entry, const char* key) {
    try {
        static_cast<void>(entry.getCharValue(key));
        return true;
    } catch (ENTRY_EXCEPTION_TYPE) {
        return false;
    }
}

// Null unless "user" is one record.
Entry singleUser(MessageEntry& message) {
    try {
        Entry user = message.getObjectValue(kUser);
        return holds(*user, kMac) ? user : nullptr;
    } catch (ENTRY_EXCEPTION_TYPE) {
        return nullptr;
    }
}

// "user" is an array of records, an object of records, or one record.
std::vector<Entry> usersOf(MessageEntry& message) {
    if (Entry user = singleUser(message)) {
        return {std::move(user)};
    }
    return message.getArrayValue(kUser);
}

bool isFailed(MessageEntry& message) {
    try {
        return message.getCharValue("status") == "failed";
    } catch (ENTRY_EXCEPTION_TYPE) {
        return false;
    }
}

void logUnexpected(MessageEntry& message) {
    logger().Warning("Unexpected message format from apb:\n'%s'\n",
                     message.getStringRepresentation());
}

// The records with the stations that they name; a bad one costs only itself.
std::vector<std::pair<Key, Entry>> stationsOf(const std::vector<Entry>& users) {
    std::vector<std::pair<Key, Entry>> stations;
    stations.reserve(users.size());
    for (const Entry& user : users) {
        try {
            const Key key(user->getCharValue(kMac), user->getCharValue("ssid"));
            if (MacAddr(key.mac).isZero()) {
                throw ENTRY_WRONG_TYPE;
            }
            stations.emplace_back(key, user);
        } catch (ENTRY_EXCEPTION_TYPE) {
            logger().Warning("apbd's record names no station, don't use it:\n'%s'\n",
                             user->getStringRepresentation());
        }
    }
    return stations;
}

ClientIdentity identityOf(const Key& key) {
    ClientIdentity identity;
    identity.mac = MacAddr(key.mac);
    return identity;
}

}  // namespace

void APBDCollaborator::subscribedNotify(std::shared_ptr<MessageEntry> message) {
    const std::shared_ptr<Portal> portal = portal_.lock();
    if (!enabled_ || portal == nullptr) {
        return;
    }
    std::vector<Entry> users;
    try {
        if (isFailed(*message)) {
            throw ENTRY_NOT_FOUND;
        }
        users = usersOf(*message);
    } catch (ENTRY_EXCEPTION_TYPE) {
        logUnexpected(*message);
        const MutexLock lock(mutex_);
        subscribed_ = false;
        return;
    }
    const std::vector<Key> keys = processClientsMessages(users, Source::subscription);
    takeWhiteLists(*portal, message);
    removeUnauthorised(*portal, keys);
}

void APBDCollaborator::handleAddClients(std::shared_ptr<MessageEntry> message) {
    const std::shared_ptr<Portal> portal = portal_.lock();
    if (portal != nullptr && isSubscribed()) {
        // An answer holds a limited number of users; the others come this way.
        removeUnauthorised(*portal,
                           processClientsMessages(usersOf(*message), Source::notification));
    }
}

std::vector<Key> APBDCollaborator::processClientsMessages(const std::vector<Entry>& users,
                                                          Source source) {
    logger().Debug("%s,%d,Receive %d users from subscribe responce\n", "processClientsMessages",
                   __LINE__, static_cast<int>(users.size()));
    std::vector<Key> known;
    const MutexLock lock(mutex_);
    for (const auto& [key, user] : stationsOf(users)) {
        if (takeIn(key, *user)) {
            known.push_back(key);
        }
    }
    if (source == Source::subscription) {
        subscribed_ = true;
        subscription_.notifyAll();
        settleAt_ = ostrel::clock().monotonicMicroseconds() + kTellingMicroseconds;
        flush();
    }
    return known;
}

// False when the station has no record all the same.
bool APBDCollaborator::takeIn(const Key& key, MessageEntry& user) {
    const Kind waiting = outbox_.waiting(key);
    if (waiting == Kind::remove) {
        return false;
    }
    APBDEntry* entry = find(key);
    if (entry != nullptr && !entry->cleared) {
        if (waiting == Kind::add) {
            // The others have an older record of the station than the one that waits for them.
            post(key, Kind::reset, entry->agedMessage());
        }
        entry->untold = false;
        return true;
    }
    if (entry == nullptr && (entry = insert(key)) == nullptr) {
        return false;
    }
    entry->text = user.getStringRepresentation();
    entry->receivedAt = ostrel::clock().monotonicMicroseconds();
    entry->untold = false;
    entry->cleared = false;
    return true;
}

void APBDCollaborator::takeWhiteLists(Portal& portal, const Entry& message) {
    APBWhiteListExtractor extractor;
    std::vector<Entry> lists;
    try {
        lists = extractor.extractAllWhiteLists(message);
    } catch (ENTRY_EXCEPTION_TYPE problem) {
        if (problem == ENTRY_WRONG_TYPE) {
            logUnexpected(*message);
        }
        return;
    }
    logger().Debug("Receive %d permited ip lists\n", static_cast<int>(lists.size()));
    const auto store = portal.getWhiteListStore();
    const auto instances = std::make_shared<APBPortalInstanceMessageExtractor>(store);
    for (const Entry& list : lists) {
        try {
            const std::string values = extractor.extractWhiteListValue(list);
            if (!values.empty()) {
                store->addWhiteList(std::make_shared<WhiteAddressesList>("", values));
            }
            portal.updatePortalInstance(list, instances);
        } catch (ENTRY_EXCEPTION_TYPE) {
            logger().Warning("White list without values, don't use it\n");
        }
    }
}

// So that the redirector module reports them anew and they come back by their records.
void APBDCollaborator::removeUnauthorised(Portal& portal, const std::vector<Key>& keys) {
    for (const Key& key : keys) {
        portal.removeClientFrom(key.ssid, identityOf(key), RemoveWhen::unauthorised,
                                CommandInfo(END_REASON_APBD_REQUEST));
    }
}

void APBDCollaborator::handleUpdateClients(std::shared_ptr<MessageEntry> message) {
    const std::shared_ptr<Portal> portal = portal_.lock();
    if (portal == nullptr || !isSubscribed()) {
        return;
    }
    const std::string action = message->getCharValue("action");
    for (const auto& [key, user] : stationsOf(usersOf(*message))) {
        switch (applyUpdate(key, action, *user)) {
            case Consequence::none:
                break;
            case Consequence::disconnect:
                disconnect(*portal, key);
                break;
            case Consequence::depart:
                removeCopies(*portal, key);
                break;
        }
    }
}

APBDCollaborator::Consequence APBDCollaborator::applyUpdate(const Key& key,
                                                            const std::string& action,
                                                            MessageEntry& user) {
    const MutexLock lock(mutex_);
    APBDEntry* const entry = find(key);
    if (entry == nullptr) {
        return Consequence::none;
    }
    const bool leaves = action == kApbdDisassoc;
    const bool comes = action == kApbdAssoc || action == kApbdUpdate;
    if (leaves && entry->state == APBDEntryState::associatedHere) {
        return Consequence::none;  // it left the other access point to come here
    }
    refresh(*entry, user);
    if (!leaves && !comes) {
        return Consequence::none;
    }
    entry->vap.clear();
    if (leaves) {
        entry->state = APBDEntryState::received;
        return Consequence::disconnect;
    }
    entry->state = APBDEntryState::associatedElsewhere;
    return Consequence::depart;
}

void APBDCollaborator::handleDeleteClients(std::shared_ptr<MessageEntry> message) {
    const std::shared_ptr<Portal> portal = portal_.lock();
    if (portal == nullptr || !isSubscribed()) {
        return;
    }
    for (const auto& [key, user] : stationsOf(usersOf(*message))) {
        forget(key);
        disconnect(*portal, key);
    }
}

void APBDCollaborator::forget(const Key& key) {
    const MutexLock lock(mutex_);
    records_.erase(key);
    departing_.erase(key);
    if (outbox_.waiting(key) == Kind::update) {
        outbox_.drop(key);  // of a record that nobody has any more
    }
}

void APBDCollaborator::disconnect(Portal& portal, const Key& key) {
    ClientIdentity identity = identityOf(key);
    portal.disconnectClientFrom(key.ssid, identity, CommandInfo(END_REASON_APBD_REQUEST));
}

void APBDCollaborator::removeCopies(Portal& portal, const Key& key) {
    std::string keptVap;
    {
        const MutexLock lock(mutex_);
        departing_.erase(key);
        const APBDEntry* const entry = find(key);
        if (entry == nullptr ||
            (entry->vap.empty() && entry->state != APBDEntryState::associatedElsewhere)) {
            return;
        }
        keptVap = entry->vap;
    }
    if (!portal.removeClientFrom(key.ssid, identityOf(key), RemoveWhen::disconnected,
                                 CommandInfo(END_REASON_APBD_REQUEST), keptVap)) {
        const MutexLock lock(mutex_);
        departing_.insert(key);
    }
}

}  // namespace vesta
