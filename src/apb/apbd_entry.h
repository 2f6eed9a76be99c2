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
    // Only of a station that is here do its going and its scenarios concern the others.
    [[nodiscard]] bool isHere() const {
        return state == APBDEntryState::added || state == APBDEntryState::associatedHere;
    }
    // Whether the copy that is spoken of stands on another VAP; while the station is on no VAP of
    // this access point, every one may speak for it.
    [[nodiscard]] bool isOnOtherVap(const std::string& name) const {
        return !vap.empty() && vap != name;
    }

    // The record, shared with nobody, and the same with the session time that it has by now.
    [[nodiscard]] std::shared_ptr<MessageEntry> message() const;
    [[nodiscard]] std::shared_ptr<MessageEntry> agedMessage() const;

    std::string text;  // of the last record: a tenth of what its nodes take
    APBDEntryState state = APBDEntryState::received;
    std::string vap;              // where the station is, "" when it isn't here
    std::int64_t receivedAt = 0;  // monotonic microseconds; of the record's session time
    // apbd has come or gone since it told of this record last.
    bool untold = false;
    // It has gone: nothing is restored from this record until apbd tells it again, but what becomes
    // of the station meanwhile still concerns the others.
    bool cleared = false;
};

// Adds the seconds that have passed since `time` (monotonic microseconds), rounded, to the record's
// session time.
void ageSince(std::int64_t time, MessageEntry& record);

}  // namespace vesta
