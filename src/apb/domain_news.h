#pragma once

// What apbd tells of the stations of the other access points, and what becomes of their records.
//
// Threads: the functions, any; the class has no lock of its own and is guarded by its
// collaborator's mutex.

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "apb/apbd_outbox.h"
#include "apb/record_book.h"
#include "core/message_entry.h"

namespace vesta {

// A record and the station that it names.
using DomainStation = std::pair<ClientInformationIdentity, std::shared_ptr<MessageEntry>>;

// What apbd's message has under "user": an array of records, an object of records, or one record.
// Throws ENTRY_EXCEPTION_TYPE when it is none of these.
std::vector<std::shared_ptr<MessageEntry>> usersOf(MessageEntry& message);
// The records with their stations, without those that name none; each of these gets a warning.
std::vector<DomainStation> stationsOf(const std::vector<std::shared_ptr<MessageEntry>>& users);

void logUnexpectedMessage(MessageEntry& message);

class DomainNews {
public:
    // What an update means for the copies that the station has here.
    enum class Consequence { none, disconnect, removeCopies };

    // Both outlive this object.
    DomainNews(RecordBook& records, APBDOutbox& outbox) : records_(records), outbox_(outbox) {}

    // Takes records in, a known one's excepted. Returns the stations that have a record now.
    std::vector<ClientInformationIdentity> takeIn(const std::vector<DomainStation>& stations);
    // What happened to a station elsewhere: "assoc", "disassoc" or "update".
    Consequence update(const DomainStation& station, const std::string& action);
    // Its session has ended elsewhere.
    void forget(const ClientInformationIdentity& key);

private:
    using Kind = APBDOutbox::Kind;

    bool takeIn(const DomainStation& station);

    RecordBook& records_;
    APBDOutbox& outbox_;
};

}  // namespace vesta
