#pragma once

// What the daemon knows of one station of the mobility domain: its last record and how the station
// stands to this access point. Guarded by its collaborator's mutex.

#include <cstdint>
#include <memory>
#include <string>

#include "core/message_entry.h"

namespace vesta {

enum class APBDEntryState {
    received,             // new: another access point told of it
    added,                // this access point told of it first
    associatedHere,       // this access point said that the station is here
    associatedElsewhere,  // another one did
};

struct APBDEntry {
    // Only while the station is here do its leaving and its change of scenario concern the others.
    [[nodiscard]] bool isHere() const {
        return state == APBDEntryState::added || state == APBDEntryState::associatedHere;
    }
    // Whether the station is on another VAP of this access point than `name`.
    [[nodiscard]] bool isOnOtherVap(const std::string& name) const {
        return !vap.empty() && vap != name;
    }

    // The record, shared with nobody; aged, it has the session time of this moment.
    [[nodiscard]] std::shared_ptr<MessageEntry> message() const;
    [[nodiscard]] std::shared_ptr<MessageEntry> agedMessage() const;

    // Takes a whole record, which makes the entry valid again.
    void store(MessageEntry& record);
    // Takes over what changes in the course of a session.
    void update(MessageEntry& changes);

    std::string text;  // the last record: as text it takes a tenth of what its nodes take
    APBDEntryState state = APBDEntryState::received;
    std::string vap;              // where the station is, "" when it isn't here
    std::int64_t receivedAt = 0;  // monotonic microseconds; of the record's session time
    // apbd has come or gone since it told of this record last.
    bool untold = false;
    // apbd has gone. Nothing is restored from this record until apbd tells it again, but what
    // becomes of the station meanwhile still concerns the others.
    bool cleared = false;
};

// Adds the seconds that have passed since `time` (monotonic microseconds), rounded, to the record's
// session time.
void ageSince(std::int64_t time, MessageEntry& record);

// Copies what changes in the course of a session from `received` to `stored`: the current scenario,
// its limits, the session time and the number of simultaneous logins. What `received` lacks stays.
void updateRecord(MessageEntry& stored, MessageEntry& received);

}  // namespace vesta
