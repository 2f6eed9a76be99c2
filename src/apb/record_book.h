#pragma once

// The records of the mobility domain by station. The book tells from which records the portal may
// restore a station, and of which stations the portal may hold an outdated copy.
//
// Threads: no lock; guarded by its collaborator's mutex.

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "apb/apbd_entry.h"
#include "messages/client_information_store.h"

namespace vesta {

class RecordBook {
public:
    using Key = ClientInformationIdentity;

    // Beyond this many records new ones are refused, with one warning until apbd goes.
    static constexpr std::size_t kMaxRecords = 65536;

    // Null without a record. The pointer is good until the record is erased.
    [[nodiscard]] APBDEntry* find(const Key& key);
    // The station's record, an empty one where there was none. Null when there is no room.
    [[nodiscard]] APBDEntry* insert(const Key& key);
    void erase(const Key& key) { records_.erase(key); }

    // apbd has come: it tells all records anew.
    void awaitAll();
    // apbd has gone: no station is restored from a record that it told.
    void clearAll();
    // apbd has had the time to tell everything anew. Erases each record that it did not tell,
    // unless its station is here. Returns the stations that are here: apbd has lost their records.
    [[nodiscard]] std::vector<Key> settle();

    // The record, its session time counted up to now; null without one.
    [[nodiscard]] std::shared_ptr<MessageEntry> get(const Key& key);
    // The same for a station that comes in on that VAP by its record: it is here from now on.
    [[nodiscard]] std::shared_ptr<MessageEntry> take(const Key& key, const std::string& vap);
    // The station shows itself on that VAP. False when it is known to have gone elsewhere.
    [[nodiscard]] bool confirmPresence(const Key& key, const std::string& vap);

    // Adds the white lists that the records name by their hashes.
    void collectWhiteLists(std::set<std::string>& names) const;

    // A copy of the station may stand where the station is not.
    void suspectCopies(const Key& key) { suspected_.insert(key); }
    void forgetCopies(const Key& key) { suspected_.erase(key); }
    [[nodiscard]] std::vector<Key> suspectedCopies() const {
        return {suspected_.begin(), suspected_.end()};
    }
    // The VAP whose copy is the station's own, "" when the station is not here; nothing when no
    // copy of it is known to be wrong.
    [[nodiscard]] std::optional<std::string> rightfulVap(const Key& key);

private:
    std::map<Key, APBDEntry> records_;
    std::set<Key> suspected_;
    bool refusing_ = false;  // there is no room, and that was said
};

}  // namespace vesta
