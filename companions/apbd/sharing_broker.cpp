// What comes from the broker: its whole state when it is read, then each publication.

#include <set>

#include "apbd/sharing.h"
#include "ostrel/clock.h"
#include "ostrel/runtime.h"

namespace apbd {
namespace {

using ostrel::LogLevel;

constexpr std::size_t kLookedAtOnce = 200;

bool isText(const std::string& bytes) {
    try {
        static_cast<void>(Json(bytes).dump());
        return true;
    } catch (const Json::exception&) {
        return false;  // no UTF-8
    }
}

}  // namespace

void Sharing::brokerConnected(bool keptState) {
    ostrel::report(LogLevel::debug, "broker connected, %s state",
                   keptState ? "with its" : "without");
    connected_ = true;
    lostState_ = everLoaded_ && !keptState;
    load();
}

void Sharing::brokerDisconnected() {
    connected_ = false;
    phase_ = Phase::idle;
    if (answerDue_ && everLoaded_) {
        answerSubscription();  // by what is known
    }
}

// Has the broker send everything again.
void Sharing::load() {
    if (scopes_.empty()) {
        return;
    }
    phase_ = Phase::loading;
    ++round_;
    loadingSince_ = ostrel::monotonicSeconds();
    seen_.clear();
    seenLists_.clear();
    missing_.reset();
    std::vector<std::string> filters;
    for (const auto& [scope, radiusDomain] : scopes_) {
        filters.push_back(topics_.filter(scope));
    }
    broker_.subscribe(topics_.marker(instance_), filters);
}

void Sharing::subscribed() {
    if (phase_ == Phase::loading) {
        // The retained messages are under way by now, and this one comes behind them.
        broker_.mark(topics_.marker(instance_), std::to_string(round_));
    }
}

void Sharing::received(const std::string& topic, const std::string& payload) {
    if (phase_ == Phase::idle) {
        return;
    }
    if (topic == topics_.marker(instance_)) {
        if (phase_ == Phase::loading && payload == std::to_string(round_)) {
            loaded();
        }
        return;
    }
    const std::optional<Topics::Place> place = topics_.place(topic);
    if (!place || scopes_.count(place->scope) == 0) {
        return;
    }
    if (place->mac.empty()) {
        receivedList(topic, *place, payload);
    } else {
        receivedRecord({place->scope, place->mac}, payload);
    }
}

void Sharing::receivedRecord(const Key& key, const std::string& payload) {
    std::optional<Record> record;
    if (!payload.empty() && !(record = decode(key, payload))) {
        ostrel::report(LogLevel::warning, "%s holds no record of its station, ignored",
                       topics_.record(key).c_str());
        return;
    }
    if (phase_ == Phase::loading) {
        if (seen_.size() < kMostRecords || seen_.count(key) > 0) {
            seen_[key] = std::move(record);
        }
    } else if (record) {
        recordChanged(key, std::move(*record));
    } else {
        recordDeleted(key);
    }
}

// A broker drops what a queue of its has no room for, and a record must not end by that. So those
// that are missing are looked at once more, a few at a time.
bool Sharing::lookForMissing() {
    if (!missing_) {
        missing_.emplace();
        for (const auto& entry : book_) {
            if (!lostState_ && seen_.count(entry.first) == 0) {
                missing_->push_back(entry.first);
            }
        }
    }
    if (missing_->empty()) {
        return false;
    }
    std::vector<std::string> topics;
    for (; !missing_->empty() && topics.size() < kLookedAtOnce; missing_->pop_back()) {
        topics.push_back(topics_.record(missing_->back()));
    }
    ++round_;
    loadingSince_ = ostrel::monotonicSeconds();
    broker_.lookAt(topics);
    return true;
}

void Sharing::loaded() {
    if (lookForMissing()) {
        return;
    }
    missing_.reset();
    phase_ = Phase::ready;
    everLoaded_ = true;
    std::map<Key, std::optional<Record>> seen;
    seen.swap(seen_);
    std::set<Key> keys;
    for (const auto& entry : seen) {
        keys.insert(entry.first);
    }
    for (const auto& entry : book_) {
        keys.insert(entry.first);
    }
    for (const auto& entry : unconfirmed_) {
        keys.insert(entry.first);
    }
    for (const Key& key : keys) {
        const auto found = seen.find(key);
        settle(key, found != seen.end() && found->second ? &*found->second : nullptr);
    }
    takeLists();
    lostState_ = false;
    replayEarly();
    if (answerDue_) {
        answerSubscription();
    }
}

void Sharing::settle(const Key& key, const Record* published) {
    const auto change = unconfirmed_.find(key);
    if (change != unconfirmed_.end()) {
        settleChange(key, change->second, published);
        return;
    }
    const auto known = book_.find(key);
    if (published == nullptr) {
        if (known != book_.end()) {
            settleMissing(key, known->second);
        }
    } else if (known != book_.end() && isOurs(known->second) && isOurs(*published) &&
               published->version.number < known->second.version.number) {
        publish(key);  // the broker came back with an older state
    } else {
        accept(key, *published);
    }
}

// A change of ours meets what the broker has: it may have got through, it may rest on what another
// access point has changed meanwhile.
void Sharing::settleChange(const Key& key, const Change& change, const Record* published) {
    const auto drop = [this, &key] { unconfirmed_.erase(key); };
    const auto record = book_.find(key);
    const bool ends = change.removes || record->second.action == kDisassoc;
    if (published == nullptr) {
        if (change.removes) {
            drop();
        } else if (ends && !change.anew && !lostState_) {
            drop();
            erase(key);  // the station left a session that is over
        } else {
            publish(key);
        }
        return;
    }
    if (!change.removes && published->version == Version{instance_, change.number}) {
        drop();
        return;
    }
    const bool changedElsewhere = !isOurs(*published) && published->version != change.base;
    if (changedElsewhere && (ends || change.time < published->time)) {
        const Record theirs = *published;
        drop();
        accept(key, theirs);
        return;
    }
    publish(key);
}

void Sharing::settleMissing(const Key& key, const Record& record) {
    if (!lostState_) {
        erase(key);
    } else if (isOurs(record) || (!apMac_.empty() && record.apMac == apMac_)) {
        publish(key);  // each access point brings its own back
    }
}

void Sharing::publish(const Key& key) {
    if (phase_ != Phase::ready) {
        return;
    }
    const auto change = unconfirmed_.find(key);
    if (change != unconfirmed_.end()) {
        change->second.publishedAt = ostrel::monotonicSeconds();
    }
    const auto record = book_.find(key);
    broker_.publish(topics_.record(key), record == book_.end() ? "" : encode(record->second));
}

void Sharing::recordChanged(const Key& key, Record record) {
    const auto change = unconfirmed_.find(key);
    if (isOurs(record)) {
        if (change != unconfirmed_.end() && change->second.number == record.version.number) {
            unconfirmed_.erase(change);
        }
        return;
    }
    if (change == unconfirmed_.end()) {
        accept(key, std::move(record));
        return;
    }
    // Ours comes behind it and stays; but a station that left us is told of where it is now.
    const auto known = book_.find(key);
    if (known != book_.end() && known->second.action == kDisassoc) {
        vestad_.notifyUpdated(record);
    }
}

void Sharing::recordDeleted(const Key& key) {
    const auto change = unconfirmed_.find(key);
    if (change == unconfirmed_.end()) {
        erase(key);
    } else if (change->second.removes) {
        unconfirmed_.erase(change);
    } else if (!change->second.anew) {
        // Our update crosses the end of the session and must not revive it.
        vestad_.notifyDeleted(book_.at(key));
        remove(key);
    }
}

// Takes another's record over and tells vestad what it is to it.
void Sharing::accept(const Key& key, Record record) {
    const auto known = book_.find(key);
    if (known == book_.end() && book_.size() >= kMostRecords) {
        if (!warnedFull_) {
            ostrel::report(LogLevel::warning, "more than %zu records: others are ignored",
                           kMostRecords);
            warnedFull_ = true;
        }
        return;
    }
    Record& held = book_[key];
    Record before = std::exchange(held, std::move(record));
    const bool isPredecessors = !apMac_.empty() && held.apMac == apMac_ && held.time < startedAt_;
    if (known != book_.end() && before.version == held.version) {
        held = std::move(before);
    } else if (isPredecessors) {
        return;  // vestad's own change, on the way when the apbd before this one died
    } else if (held.action == kReset ||
               (known != book_.end() && !isSameSession(before.user, held.user))) {
        vestad_.notifyDeleted(held);
        vestad_.notifyAdded(held);
    } else if (known == book_.end()) {
        vestad_.notifyAdded(held);
    } else {
        vestad_.notifyUpdated(held);
    }
}

void Sharing::erase(const Key& key) {
    const auto record = book_.find(key);
    if (record != book_.end()) {
        vestad_.notifyDeleted(record->second);
        book_.erase(record);
    }
}

void Sharing::receivedList(const std::string& topic, const Topics::Place& place,
                           const std::string& payload) {
    if (!isText(payload)) {
        ostrel::report(LogLevel::warning, "%s holds no UTF-8 text, ignored", topic.c_str());
        return;
    }
    Lists& lists = phase_ == Phase::loading ? seenLists_ : lists_;
    if (payload.empty()) {
        lists.erase(topic);
        return;
    }
    lists[topic] = {place, payload};
    if (phase_ == Phase::ready) {
        vestad_.tellWhiteLists(Json::array({whiteListEntry(lists[topic])}));
    }
}

void Sharing::takeLists() {
    Json changed = Json::array();
    for (const auto& [topic, list] : seenLists_) {
        const auto known = lists_.find(topic);
        if (known == lists_.end() || known->second.values != list.values) {
            changed.push_back(whiteListEntry(list));
        }
    }
    lists_ = std::exchange(seenLists_, {});
    vestad_.tellWhiteLists(changed);
}

}  // namespace apbd
