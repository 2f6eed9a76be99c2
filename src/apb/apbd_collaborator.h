#pragma once

// The daemon's side of the exchange with apbd, which shares authorised stations between the access
// points of a mobility domain. What happens to local stations goes out as requests; what apbd tells
// of the others is kept as one record a station, from which the portal restores a station that
// comes in. Without "captive-portal"."apbd"."enabled" every operation returns at once.
//
// Requests go out while apbd has answered a subscription. What can't reach it (the last change of
// each station) waits and goes out first when it is back.
//
// Behind it stand the record book, the outbox of requests, what local events mean (LocalEvents) and
// what apbd's news mean (DomainNews).
//
// Threads: any thread may call any operation. One mutex guards all that stands behind; it comes
// below the holders'. No call goes into the portal or a holder while it is held, except that a
// client's dump asks its instance for fixed properties, which takes no lock. What has to be done in
// the portal is done after the mutex has been released: on the listener's thread where apbd's
// message asks for it, in updateState() where a local event does.

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "apb/apbd_outbox.h"
#include "apb/domain_news.h"
#include "apb/local_events.h"
#include "apb/record_book.h"
#include "client/informator.h"
#include "core/message_entry.h"
#include "core/mutex.h"
#include "messages/client_information_store.h"

class IpcInterface;

namespace vesta {

class Portal;

class APBDCollaborator final : public Informator, public ClientInformationStore {
public:
    using Entry = std::shared_ptr<MessageEntry>;

    // apbd's answer holds a limited number of users; it tells of the others within this time.
    static constexpr std::int64_t kTellingMicroseconds = 3000000;
    // The longest wait in awaitReady().
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
    void collectWhiteLists(std::set<std::string>& names) override EXCLUDES(mutex_);
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

    // Steps of the above, for an event or a message that is to be added to them.
    bool sendUpdate(std::shared_ptr<Client> client, APBDEntry& entry, std::string action)
        REQUIRES(mutex_) {
        return events_.sendUpdate(*client, entry, action);
    }
    // `reason`: "away timeout" when the client's session ends, "forced" when its record replaces
    // the one that the others have.
    void sendDelRequest(std::shared_ptr<Client> client, ClientStatisticInfo& statistics,
                        std::string reason) EXCLUDES(mutex_);
    static void insertSingleUserValue(MessageEntry& request, const Entry& record) {
        request.insertObjectValue("user", record);
    }
    static void updateLastMessage(MessageEntry& stored, MessageEntry& received) {
        updateRecord(stored, received);
    }

private:
    using Key = ClientInformationIdentity;

    enum class Source { subscription, notification };

    // Takes the users' records in; returns the stations that have a record now.
    std::vector<Key> processClientsMessages(const std::vector<Entry>& users, Source source)
        EXCLUDES(mutex_);
    // Null unless the portal is there and apbd's notifications count.
    std::shared_ptr<Portal> notifiedPortal() EXCLUDES(mutex_);
    DomainNews::Consequence takeUpdate(const DomainStation& station, const std::string& action)
        EXCLUDES(mutex_);
    // Removes the station's copies that are where it is not and no longer connected. One that is
    // still connected is looked at again in updateState().
    void removeWrongCopies(Portal& portal, const Key& key) EXCLUDES(mutex_);

    static constexpr std::int64_t kNever = INT64_MAX;

    const std::shared_ptr<IpcInterface> ipc_;
    const std::weak_ptr<Portal> portal_;
    bool enabled_ = false;  // fixed at construction, as asked_
    bool asked_ = false;    // apbd was there and was asked for its status

    Mutex mutex_;
    // Signalled when the users of a subscription were taken in.
    CondVar subscription_;
    RecordBook records_ GUARDED_BY(mutex_);
    // Open while apbd has answered a subscription: its notifications count as long.
    APBDOutbox outbox_ GUARDED_BY(mutex_);
    LocalEvents events_ GUARDED_BY(mutex_);
    DomainNews news_ GUARDED_BY(mutex_);
    // Monotonic microseconds: when apbd has had the time to tell of all records, and when it was
    // last asked.
    std::int64_t settleAt_ GUARDED_BY(mutex_) = kNever;
    std::int64_t lastAttempt_ GUARDED_BY(mutex_) = 0;
};

}  // namespace vesta
