#pragma once

// The changes that wait for apbd: the last one of each station, in order of arrival. What comes
// later for the same station replaces what waits, so that a station costs one message however long
// apbd is away.
//
// Threads: no lock; guarded by its collaborator's mutex.

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <string>

#include "messages/client_information_store.h"

namespace vesta {

class APBDOutbox {
public:
    // About 8 MiB at most. Beyond it the oldest change is lost, with one warning.
    static constexpr std::size_t kMaxChanges = 8192;

    enum class Kind {
        none,
        add,     // a whole record
        update,  // the changing part of a record that apbd has
        remove,
        reset,  // a whole record in place of the one that apbd has
    };

    // The kind that a change of kind `next` must have in order to say all when it replaces what
    // waits: an update of a whole record that never left is the whole record, and a new record in
    // place of a deletion that never left is a reset.
    [[nodiscard]] Kind merged(const ClientInformationIdentity& key, Kind next) const;
    // What waits for that station.
    [[nodiscard]] Kind waiting(const ClientInformationIdentity& key) const;

    // `madeAt`: monotonic microseconds.
    void put(const ClientInformationIdentity& key, Kind kind, std::string text,
             std::int64_t madeAt);
    void drop(const ClientInformationIdentity& key);
    // Hands (kind, text, madeAt) to `send` in order until it returns false; what it took is
    // forgotten.
    template <class Send>
    void flush(Send send) {
        while (!changes_.empty() &&
               send(changes_.front().kind, changes_.front().text, changes_.front().madeAt)) {
            places_.erase(changes_.front().key);
            changes_.pop_front();
        }
        warned_ = warned_ && !changes_.empty();
    }

private:
    struct Change {
        ClientInformationIdentity key;
        Kind kind;
        std::string text;
        std::int64_t madeAt;
    };

    void makeRoom();

    std::list<Change> changes_;
    std::map<ClientInformationIdentity, std::list<Change>::iterator> places_;
    bool warned_ = false;
};

}  // namespace vesta
