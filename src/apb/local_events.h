#pragma once

// What happens to the stations of this access point: what becomes of their records, and what the
// other access points are told of it.
//
// Threads: no lock of its own; guarded by its collaborator's mutex. Each operation runs under the
// lock of the station's instance.

#include <memory>
#include <string>

#include "apb/apbd_outbox.h"
#include "apb/record_book.h"

namespace vesta {

class Client;

class LocalEvents {
public:
    // Both outlive this object.
    LocalEvents(RecordBook& records, APBDOutbox& outbox) : records_(records), outbox_(outbox) {}

    void authenticated(const Client& client);
    void deauthenticated(const Client& client);
    void connected(const Client& client);
    void disconnected(const Client& client);
    // Its session has ended.
    void ended(const Client& client);
    // Its record replaces the one that the others have.
    void reset(const Client& client);

    // Tells of the client's changes, "assoc", "disassoc" or "update", and updates its record.
    // False, with a warning, when the client isn't authorised: nobody is told of such a client.
    bool sendUpdate(const Client& client, APBDEntry& entry, const std::string& action);
    // Tells a new apbd of the stations here that it has not told of itself.
    void tellUntold();

private:
    using Entry = std::shared_ptr<MessageEntry>;
    using Key = ClientInformationIdentity;
    using Kind = APBDOutbox::Kind;

    // Null when there is none, or the station is on another VAP, whose copy speaks for it.
    APBDEntry* recordOf(const Client& client);
    void sendAdd(const Client& client);
    // Nobody is to let the station in by its record any more.
    void withdraw(const Key& key, const Entry& record);

    RecordBook& records_;
    APBDOutbox& outbox_;
};

}  // namespace vesta
