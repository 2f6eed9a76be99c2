#pragma once

// The client records that this access point knows, and its own changes to them that have not come
// round at the broker. Each such change is made here at once; the last one of each record is kept,
// however long the broker is away.
//
// Threads: none; the one that runs Sharing.

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "apbd/record.h"
#include "apbd/sides.h"
#include "apbd/topics.h"

namespace apbd {

class Ledger {
public:
    static constexpr std::size_t kMostRecords = 100000;
    // Changes kept for the broker. Beyond it the oldest is lost, with a warning.
    static constexpr std::size_t kMostKept = 8192;
    // For a publication to come round.
    static constexpr std::int64_t kConfirmSeconds = 30;

    using Records = std::map<Key, Record>;

    // A change of ours that has not come round.
    struct Change {
        std::uint64_t number = 0;
        std::optional<Version> base;  // what the broker had before it; nothing: no record
        bool removes = false;
        bool anew = false;             // a session begins: no deletion before it concerns it
        std::int64_t time = 0;         // milliseconds since 1970
        std::int64_t publishedAt = 0;  // monotonic seconds
    };
    using Changes = std::map<Key, Change>;

    // `instance` names this process in its publications. A record lasts `lifetime` seconds at most.
    // Both references outlive this object.
    Ledger(BrokerSide& broker, const Topics& topics, std::string instance, std::uint32_t lifetime)
        : broker_(broker), topics_(topics), instance_(std::move(instance)), lifetime_(lifetime) {}

    // Changes are published while the ledger is open; those made before wait to be settled.
    void open() { open_ = true; }
    void close() { open_ = false; }
    [[nodiscard]] bool isOpen() const { return open_; }

    [[nodiscard]] const std::string& apMac() const { return apMac_; }
    void setApMac(std::string mac) { apMac_ = std::move(mac); }

    [[nodiscard]] const Records& records() const { return records_; }
    [[nodiscard]] const Changes& changes() const { return changes_; }
    // Null without one; good until the next operation on the same key.
    [[nodiscard]] const Record* find(const Key& key) const;
    [[nodiscard]] const Change* changeOf(const Key& key) const;
    [[nodiscard]] bool isOurs(const Record& record) const {
        return record.version.instance == instance_;
    }
    // Records that have ended by themselves, and those of stations that are at home here and have
    // half of their life behind them.
    struct Aged {
        std::vector<Key> ended;
        std::vector<Key> atHome;
    };
    [[nodiscard]] Aged aged() const;
    // Whether a publication has not come round for too long.
    [[nodiscard]] bool isOverdue() const;

    // Our own changes. `sessionTime` in milliseconds.
    void put(const Key& key, std::string user, std::int64_t sessionTime, const std::string& action);
    void remove(const Key& key);
    // Publishes a record once more as it is, so that it lasts.
    void prolong(const Key& key);
    // Publishes what the ledger has of the record: a deletion where it has none.
    void publish(const Key& key);
    // Our change counts no more: it has come round, or gives way to another's.
    void dropChange(const Key& key) { changes_.erase(key); }

    // Another's: takes the record as it is, in place of the one before. False, with one warning,
    // when there is no room.
    [[nodiscard]] bool store(const Key& key, Record record);
    // Sets when a received record ends, in `lifetime` seconds as its publisher says; 0: it says
    // nothing.
    void limit(Record& record, std::uint32_t lifetime) const;
    void erase(const Key& key) { records_.erase(key); }
    // Forgets the records and changes of all other scopes.
    void keepOnly(const Scopes& scopes);

private:
    Change& change(const Key& key);
    void makeRoom();

    BrokerSide& broker_;
    const Topics& topics_;
    const std::string instance_;
    const std::uint32_t lifetime_;
    std::string apMac_;
    bool open_ = false;
    bool warnedFull_ = false;
    std::uint64_t lastNumber_ = 0;
    Records records_;
    Changes changes_;
};

}  // namespace apbd
