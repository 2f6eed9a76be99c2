#pragma once

// The daemon's side of the exchange with apbd, which shares authorised stations between the access
// points of a mobility domain. What happens to local stations goes out as requests; what apbd tells
// of the others is kept as one record a station, from which the portal restores a station that
// comes in. Without "captive-portal"."apbd"."enabled" every operation returns at once.
//
// Requests go out while apbd has answered a subscription. What can't reach it (the last change of
// each station) waits and goes out first when it is back.
//
// Threads: any thread may call any operation. The one mutex stands below the holders' and above
// nothing of the portal: no call goes into the portal or a holder while it is held (a client's
// dump asks its instance for fixed properties alone, which takes no lock). What has to be done
// there is collected, and done after the mutex has been released: on the listener's thread where
// apbd's message asks for it, in updateState() where a local event does.

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "apb/apbd_entry.h"
#include "apb/apbd_outbox.h"
#include "client/informator.h"
#include "core/message_entry.h"
#include "core/mutex.h"
#include "messages/client_information_store.h"

class IpcInterface;

namespace vesta {

class Portal;

class APBDCollaborator final : public Informator, public ClientInformationStore {
public:
    // Records of the domain; beyond this many new ones are refused, with one warning.
    static constexpr std::size_t kMaxRecords = 65536;
    // apbd's answer holds a limited number of users; the others are told of within this time.
    static constexpr std::int64_t kTellingMicroseconds = 3000000;
    static constexpr std::chrono::milliseconds kPatience{500};

    // Reads the configuration document and, where enabled, asks apbd for its status. The portal is
    // kept as a weak pointer: it owns the collaborator as an informator of its instances.
    APBDCollaborator(std::shared_ptr<MessageEntry> config, std::shared_ptr<IpcInterface> ipc,
                     std::shared_ptr<Portal> portal);

    // Local events.
    bool informClientAuthenticated(std::shared_ptr<Client> client,
                                   ClientStatisticInfo& statistics) override EXCLUDES(mutex_);
    bool informClientDeuthenticated(std::shared_ptr<Client> client,
                                    ClientStatisticInfo& statistics) override EXCLUDES(mutex_);
    bool informClientConnected(std::shared_ptr<Client> client,
                               ClientStatisticInfo& statistics) override EXCLUDES(mutex_);
    bool informClientDisconnected(std::shared_ptr<Client> client,
                                  ClientStatisticInfo& statistics) override EXCLUDES(mutex_);
    bool informClientDrop(std::shared_ptr<Client> client, ClientStatisticInfo& statistics) override
        EXCLUDES(mutex_);
    bool informClientRemoved(std::shared_ptr<Client> client,
                             ClientStatisticInfo& statistics) override EXCLUDES(mutex_);
    bool informClientResetNeeded(std::shared_ptr<Client> client,
                                 ClientStatisticInfo& statistics) override EXCLUDES(mutex_);

    std::shared_ptr<MessageEntry> getMessageForClient(
        const ClientInformationIdentity& identity) override EXCLUDES(mutex_);
    std::shared_ptr<MessageEntry> takeMessageForClient(const ClientInformationIdentity& identity,
                                                       const std::string& vap) override
        EXCLUDES(mutex_);
    bool confirmPresence(const ClientInformationIdentity& identity, const std::string& vap) override
        EXCLUDES(mutex_);
    void discardMessage(const ClientInformationIdentity& identity) override EXCLUDES(mutex_);
    std::shared_ptr<ClientMessageExtractor> getMessageExtractor() override;
    // Waits until the users of the first subscription were taken in, kPatience at most, and not at
    // all where no apbd was there to be asked.
    void awaitReady() override EXCLUDES(mutex_);
    // Once a second: subscribes again every 10 s until apbd answers, sends what waits, settles
    // what a new apbd did not tell of, and removes the copies of stations that are elsewhere and no
    // longer connected here.
    void updateState() override EXCLUDES(mutex_);

    // False when no apbd is there.
    bool sendStatusRequest();
    void sendSubscribeRequest(std::shared_ptr<Portal> portal);

    // apbd is there, and is gone again.
    void connectedNotify() EXCLUDES(mutex_);
    void disconnectedNotify() EXCLUDES(mutex_);
    // apbd's answer to the subscription, whatever its status.
    void subscribedNotify(std::shared_ptr<MessageEntry> message) EXCLUDES(mutex_);
    // Stations that came, changed or went on other access points. They throw ENTRY_EXCEPTION_TYPE
    // when the message lacks what they need; one bad record costs only itself.
    void handleAddClients(std::shared_ptr<MessageEntry> message) EXCLUDES(mutex_);
    void handleUpdateClients(std::shared_ptr<MessageEntry> message) EXCLUDES(mutex_);
    void handleDeleteClients(std::shared_ptr<MessageEntry> message) EXCLUDES(mutex_);

private:
    using Entry = std::shared_ptr<MessageEntry>;
    using Key = ClientInformationIdentity;
    using Kind = APBDOutbox::Kind;

    enum class Source { subscription, notification };
    // What an update means for the copies that the station has here.
    enum class Consequence { none, disconnect, depart };

    bool isSubscribed() EXCLUDES(mutex_);
    APBDEntry* find(const Key& key) REQUIRES(mutex_);
    APBDEntry* insert(const Key& key) REQUIRES(mutex_);

    void sendAdd(const std::shared_ptr<Client>& client) REQUIRES(mutex_);
    // False, with a warning, when the client can't be told of because it isn't authorised.
    bool sendUpdate(std::shared_ptr<Client> client, APBDEntry& entry, std::string action)
        REQUIRES(mutex_);
    void sendDelRequest(std::shared_ptr<Client> client, ClientStatisticInfo& statistics,
                        std::string reason) EXCLUDES(mutex_);
    void withdraw(const Key& key, Entry record) REQUIRES(mutex_);
    // `action`: of an update.
    void post(const Key& key, Kind kind, const Entry& record, const std::string& action = "")
        REQUIRES(mutex_);
    void flush() REQUIRES(mutex_);
    void settleUntold(std::int64_t now) REQUIRES(mutex_);
    std::shared_ptr<MessageEntry> messageOf(const APBDEntry* entry) REQUIRES(mutex_);

    // Takes the users' records in; returns the stations that have a record now.
    std::vector<Key> processClientsMessages(const std::vector<Entry>& users, Source source)
        EXCLUDES(mutex_);
    bool takeIn(const Key& key, MessageEntry& user) REQUIRES(mutex_);
    void takeWhiteLists(Portal& portal, const Entry& message) EXCLUDES(mutex_);
    void removeUnauthorised(Portal& portal, const std::vector<Key>& keys) EXCLUDES(mutex_);
    Consequence applyUpdate(const Key& key, const std::string& action, MessageEntry& user)
        EXCLUDES(mutex_);
    void forget(const Key& key) EXCLUDES(mutex_);
    void disconnect(Portal& portal, const Key& key) EXCLUDES(mutex_);
    // Removes the station's copies that are where it is not and no longer connected; one that is
    // still connected is looked at again.
    void removeCopies(Portal& portal, const Key& key) EXCLUDES(mutex_);

    // updateLastMessage() on the entry's record, which then has the session time of this moment.
    static void refresh(APBDEntry& entry, MessageEntry& received);
    static void insertSingleUserValue(MessageEntry& request, const Entry& record);
    // Copies what changes in the course of a session.
    static void updateLastMessage(MessageEntry& stored, MessageEntry& received);

    const std::shared_ptr<IpcInterface> ipc_;
    const std::weak_ptr<Portal> portal_;
    bool enabled_ = false;  // fixed at construction, as asked_
    bool asked_ = false;    // apbd was there and was asked for its status

    Mutex mutex_;
    // apbd's users were taken in and it has not gone since: requests go out, notifications count.
    bool subscribed_ GUARDED_BY(mutex_) = false;
    CondVar subscription_;
    // Monotonic microseconds.
    static constexpr std::int64_t kNever = INT64_MAX;
    std::int64_t settleAt_ GUARDED_BY(mutex_) = kNever;
    std::int64_t lastAttempt_ GUARDED_BY(mutex_) = 0;  // monotonic microseconds
    std::map<Key, APBDEntry> records_ GUARDED_BY(mutex_);
    bool refusing_ GUARDED_BY(mutex_) = false;  // there is no room, and that was said
    APBDOutbox outbox_ GUARDED_BY(mutex_);
    // Stations of which a copy may stand where they are not.
    std::set<Key> departing_ GUARDED_BY(mutex_);
};

}  // namespace vesta
