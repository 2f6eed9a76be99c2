#include "apbd/broker_news.h"

#include <utility>

namespace apbd {

void BrokerNews::changed(const Key& key, Record record) {
    const Ledger::Change* const change = ledger_.changeOf(key);
    if (ledger_.isOurs(record)) {
        if (change != nullptr && change->number == record.version.number) {
            ledger_.dropChange(key);
        }
        return;
    }
    if (change == nullptr) {
        accept(key, std::move(record));
        return;
    }
    // Ours comes behind it and stays; but vestad is told where a station that left it is now.
    const Record* const known = ledger_.find(key);
    if (known != nullptr && known->action == kDisassoc) {
        vestad_.notifyUpdated(record);
    }
}

void BrokerNews::deleted(const Key& key) {
    const Ledger::Change* const change = ledger_.changeOf(key);
    if (change == nullptr) {
        erase(key);
    } else if (change->removes) {
        ledger_.dropChange(key);
    } else if (!change->anew) {
        // Our update crosses the end of the session and must not revive it.
        vestad_.notifyDeleted(*ledger_.find(key));
        ledger_.remove(key);
    }
}

void BrokerNews::settle(const Key& key, const Record* published, bool lostState) {
    if (const Ledger::Change* const change = ledger_.changeOf(key)) {
        settleChange(key, *change, published, lostState);
        return;
    }
    const Record* const known = ledger_.find(key);
    if (published == nullptr) {
        if (known != nullptr) {
            settleMissing(key, *known, lostState);
        }
    } else if (known != nullptr && ledger_.isOurs(*known) && ledger_.isOurs(*published) &&
               published->version.number < known->version.number) {
        ledger_.publish(key);  // the broker came back with an older state
    } else {
        accept(key, *published);
    }
}

// A change of ours meets what the broker has: it may have got through, or another access point may
// have changed the record meanwhile.
void BrokerNews::settleChange(const Key& key, const Ledger::Change& change, const Record* published,
                              bool lostState) {
    const bool ends = change.removes || ledger_.find(key)->action == kDisassoc;
    if (published == nullptr) {
        if (change.removes) {
            ledger_.dropChange(key);
        } else if (ends && !change.anew && !lostState) {
            ledger_.dropChange(key);
            erase(key);  // the station left a session that is over
        } else {
            ledger_.publish(key);
        }
        return;
    }
    const bool ours = ledger_.isOurs(*published);
    if (!change.removes && ours && published->version.number == change.number) {
        ledger_.dropChange(key);
        return;
    }
    const bool changedElsewhere = !ours && published->version != change.base;
    if (changedElsewhere && (ends || change.time < published->time)) {
        ledger_.dropChange(key);
        accept(key, *published);
        return;
    }
    ledger_.publish(key);
}

void BrokerNews::settleMissing(const Key& key, const Record& record, bool lostState) {
    if (!lostState) {
        erase(key);
    } else if (ledger_.isOurs(record) || isOfOurAccessPoint(record)) {
        ledger_.publish(key);  // each access point brings its own back
    }
}

// Takes another's record over and tells vestad what it means to it.
void BrokerNews::accept(const Key& key, Record record) {
    const Record* const known = ledger_.find(key);
    if (known != nullptr && known->version == record.version) {
        return;
    }
    const bool isNew = known == nullptr;
    const bool isOther =
        record.action == kReset || (!isNew && !isSameSession(known->user, record.user));
    if (!ledger_.store(key, std::move(record))) {
        return;
    }
    const Record& held = *ledger_.find(key);
    if (isOfOurAccessPoint(held) && held.time < startedAt_) {
        return;  // vestad's own change, on the way when the apbd before this one died
    }
    if (isOther) {
        vestad_.notifyDeleted(held);
        vestad_.notifyAdded(held);
    } else if (isNew) {
        vestad_.notifyAdded(held);
    } else {
        vestad_.notifyUpdated(held);
    }
}

void BrokerNews::erase(const Key& key) {
    if (const Record* const record = ledger_.find(key)) {
        vestad_.notifyDeleted(*record);
        ledger_.erase(key);
    }
}

}  // namespace apbd
