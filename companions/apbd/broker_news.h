#pragma once

// What the broker's records mean to those that are known here: each publication as it comes round,
// and each record of a state that was read anew. vestad is told of what others have changed.
//
// Threads: none; the one that runs Sharing.

#include <cstdint>

#include "apbd/ledger.h"
#include "apbd/vestad_side.h"

namespace apbd {

class BrokerNews {
public:
    // `startedAt`: of this process, milliseconds since 1970. Both references outlive this object.
    BrokerNews(Ledger& ledger, VestadSide& vestad, std::int64_t startedAt)
        : ledger_(ledger), vestad_(vestad), startedAt_(startedAt) {}

    // A publication came round.
    void changed(const Key& key, Record record);
    void deleted(const Key& key);
    // A record has ended by itself.
    void ended(const Key& key) { erase(key); }
    // What the broker has of the record after an outage; null for none. `lostState`: the broker has
    // forgotten what it held.
    void settle(const Key& key, const Record* published, bool lostState);

private:
    void settleChange(const Key& key, const Ledger::Change& change, const Record* published,
                      bool lostState);
    void settleMissing(const Key& key, const Record& record, bool lostState);
    void accept(const Key& key, Record record);
    void erase(const Key& key);
    [[nodiscard]] bool isOfOurAccessPoint(const Record& record) const {
        return !ledger_.apMac().empty() && record.apMac == ledger_.apMac();
    }

    Ledger& ledger_;
    VestadSide& vestad_;
    const std::int64_t startedAt_;
};

}  // namespace apbd
