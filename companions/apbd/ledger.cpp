#include "apbd/ledger.h"

#include <algorithm>

#include "ostrel/clock.h"
#include "ostrel/runtime.h"

namespace apbd {

using ostrel::LogLevel;

namespace {

constexpr std::int64_t kMillisecondsASecond = 1000;

}  // namespace

const Record* Ledger::find(const Key& key) const {
    const auto record = records_.find(key);
    return record == records_.end() ? nullptr : &record->second;
}

const Ledger::Change* Ledger::changeOf(const Key& key) const {
    const auto change = changes_.find(key);
    return change == changes_.end() ? nullptr : &change->second;
}

Ledger::Aged Ledger::aged() const {
    const std::int64_t now = ostrel::monotonicMilliseconds();
    Aged aged;
    for (const auto& [key, record] : records_) {
        const bool isAtHome = record.apMac == apMac_ && record.action != kDisassoc;
        if (isAtHome && now - record.receivedAt >= record.endsAt - now) {
            aged.atHome.push_back(key);
        } else if (now >= record.endsAt && changes_.count(key) == 0) {
            aged.ended.push_back(key);
        }
    }
    return aged;
}

bool Ledger::isOverdue() const {
    const std::int64_t now = ostrel::monotonicSeconds();
    return std::any_of(changes_.begin(), changes_.end(), [now](const auto& change) {
        return now - change.second.publishedAt >= kConfirmSeconds;
    });
}

void Ledger::put(const Key& key, std::string user, std::int64_t sessionTime,
                 const std::string& action) {
    Change& made = change(key);
    made.anew = made.anew || made.removes || action == kAdd || action == kReset;
    made.removes = false;
    Record& record = records_[key];
    record = Record();
    record.user = std::move(user);
    record.action = action;
    record.version = {instance_, made.number};
    record.apMac = apMac_;
    record.time = made.time;
    record.sessionTime = sessionTime;
    record.receivedAt = ostrel::monotonicMilliseconds();
    record.endsAt = record.receivedAt + kMillisecondsASecond * lifetimeOf(record, lifetime_);
    publish(key);
}

void Ledger::prolong(const Key& key) {
    const Record record = records_.at(key);
    put(key, record.user, sessionTimeAfter(record, Json::object()), kUpdate);
}

void Ledger::remove(const Key& key) {
    change(key).removes = true;
    records_.erase(key);
    publish(key);
}

void Ledger::publish(const Key& key) {
    if (!open_) {
        return;
    }
    const auto change = changes_.find(key);
    if (change != changes_.end()) {
        change->second.publishedAt = ostrel::monotonicSeconds();
    }
    const Record* const record = find(key);
    if (record == nullptr) {
        broker_.publish(topics_.record(key), "", 0);
    } else {
        broker_.publish(topics_.record(key), encode(*record), lifetimeOf(*record, lifetime_));
    }
}

bool Ledger::store(const Key& key, Record record) {
    if (records_.size() >= kMostRecords && records_.count(key) == 0) {
        if (!warnedFull_) {
            ostrel::report(LogLevel::warning, "more than %zu records: others are ignored",
                           kMostRecords);
            warnedFull_ = true;
        }
        return false;
    }
    records_[key] = std::move(record);
    return true;
}

void Ledger::limit(Record& record, std::uint32_t lifetime) const {
    const std::int64_t most = kMillisecondsASecond * lifetime_;
    const std::int64_t told = kMillisecondsASecond * lifetime;
    record.endsAt = record.receivedAt + (lifetime != 0 ? std::min(told, most) : most - record.age);
}

void Ledger::keepOnly(const Scopes& scopes) {
    const auto drop = [&scopes](auto& entries) {
        for (auto entry = entries.begin(); entry != entries.end();) {
            const bool kept = scopes.count(entry->first.scope) > 0;
            entry = kept ? std::next(entry) : entries.erase(entry);
        }
    };
    drop(records_);
    drop(changes_);
}

// The unconfirmed change of the record, renumbered: what is done next is the last word.
Ledger::Change& Ledger::change(const Key& key) {
    if (changes_.count(key) == 0) {
        makeRoom();
        if (const Record* const record = find(key)) {
            changes_[key].base = record->version;
        }
    }
    Change& made = changes_[key];
    made.number = ++lastNumber_;
    made.time = ostrel::wallMilliseconds();
    made.publishedAt = ostrel::monotonicSeconds();
    return made;
}

void Ledger::makeRoom() {
    if (changes_.size() < kMostKept) {
        return;
    }
    const auto oldest = std::min_element(
        changes_.begin(), changes_.end(),
        [](const auto& one, const auto& other) { return one.second.number < other.second.number; });
    ostrel::report(LogLevel::warning, "the change of %s is lost: %zu wait for the broker",
                   oldest->first.mac.c_str(), changes_.size());
    changes_.erase(oldest);
}

}  // namespace apbd
