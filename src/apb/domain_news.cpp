#include "apb/domain_news.h"

#include "apb/apbd_requests.h"
#include "core/logger.h"
#include "core/optional_value.h"
#include "core/quoted.h"
#include "station/client_identity.h"

namespace vesta {
namespace {

using Entry = std::shared_ptr<MessageEntry>;
using Key = ClientInformationIdentity;

constexpr const char* kUser = "user";
constexpr const char* kMac = "sta-mac";

// Null unless "user" is one record.
Entry singleUser(MessageEntry& message) {
    return valueOr(Entry(), [&] {
        Entry user = message.getObjectValue(kUser);
        static_cast<void>(user->getCharValue(kMac));
        return user;
    });
}

}  // namespace

std::vector<Entry> usersOf(MessageEntry& message) {
    if (Entry user = singleUser(message)) {
        return {std::move(user)};
    }
    return message.getArrayValue(kUser);
}

std::vector<DomainStation> stationsOf(const std::vector<Entry>& users) {
    std::vector<DomainStation> stations;
    stations.reserve(users.size());
    for (const Entry& user : users) {
        try {
            const Key key(MacAddr(user->getCharValue(kMac)), user->getCharValue("ssid"));
            if (key.mac.isZero()) {
                throw ENTRY_WRONG_TYPE;
            }
            stations.emplace_back(key, user);
        } catch (ENTRY_EXCEPTION_TYPE) {
            logger().Warning("apbd's record names no station, don't use it:\n'%s'\n",
                             quotedForLog(user->getStringRepresentation()).c_str());
        }
    }
    return stations;
}

void logUnexpectedMessage(MessageEntry& message) {
    logger().Warning("Unexpected message format from apb:\n'%s'\n",
                     quotedForLog(message.getStringRepresentation()).c_str());
}

std::vector<Key> DomainNews::takeIn(const std::vector<DomainStation>& stations) {
    std::vector<Key> known;
    for (const DomainStation& station : stations) {
        if (takeIn(station)) {
            known.push_back(station.first);
        }
    }
    return known;
}

// False when the station has no record all the same.
bool DomainNews::takeIn(const DomainStation& station) {
    const auto& [key, user] = station;
    const Kind waiting = outbox_.waiting(key);
    if (waiting == Kind::remove) {
        return false;
    }
    APBDEntry* entry = records_.find(key);
    if (entry != nullptr && !entry->cleared) {
        if (waiting == Kind::add) {
            // The others have an older record of the station than the one that waits for them.
            outbox_.post(key, Kind::reset, entry->agedMessage());
        }
        entry->untold = false;
        return true;
    }
    if (entry == nullptr && (entry = records_.insert(key)) == nullptr) {
        return false;
    }
    entry->store(*user);
    return true;
}

DomainNews::Consequence DomainNews::update(const DomainStation& station,
                                           const std::string& action) {
    APBDEntry* const entry = records_.find(station.first);
    if (entry == nullptr) {
        return Consequence::none;
    }
    const bool leaves = action == kApbdDisassoc;
    const bool comes = action == kApbdAssoc || action == kApbdUpdate;
    if (leaves && entry->state == APBDEntryState::associatedHere) {
        return Consequence::none;  // it left the other access point to come here
    }
    entry->update(*station.second);
    if (!leaves && !comes) {
        return Consequence::none;
    }
    entry->vap.clear();
    entry->state = leaves ? APBDEntryState::received : APBDEntryState::associatedElsewhere;
    return leaves ? Consequence::disconnect : Consequence::removeCopies;
}

void DomainNews::forget(const Key& key) {
    records_.erase(key);
    records_.forgetCopies(key);
    if (outbox_.waiting(key) == Kind::update) {
        outbox_.drop(key);  // of a record that nobody has any more
    }
}

}  // namespace vesta
