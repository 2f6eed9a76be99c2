#pragma once

// The reading of the broker's whole state: a subscription brings all retained messages, and a
// marker that comes round behind them says that they are all there. Records that are known here but
// did not come are looked at once more, a few at a time: a broker drops what a queue of its own has
// no room for, and no session must end by that.
//
// Threads: none; the one that runs Sharing.

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "apbd/ledger.h"
#include "apbd/sides.h"
#include "apbd/topics.h"
#include "apbd/white_lists.h"

namespace apbd {

class Loading {
public:
    // For the state to be there.
    static constexpr std::int64_t kPatienceSeconds = 10;

    // What was read; a record that is nothing was deleted meanwhile.
    struct State {
        std::map<Key, std::optional<Record>> records;
        WhiteLists::Lists lists;
    };

    // `marker`: the topic of this apbd's own marker. `broker` outlives this object.
    Loading(BrokerSide& broker, std::string marker) : broker_(broker), marker_(std::move(marker)) {}

    [[nodiscard]] const std::string& marker() const { return marker_; }
    [[nodiscard]] bool isRunning() const { return running_; }
    // Whether the marker has not come round for too long.
    [[nodiscard]] bool isOverdue() const;

    // Has the broker send all that matches the filters, anew when it was already under way.
    void start(const std::vector<std::string>& filters);
    void stop() { running_ = false; }
    // The broker has granted what start() or lookForMissing() asked for.
    void granted();
    // A marker has come round. True when it is the one behind the last that was asked for.
    [[nodiscard]] bool isComplete(const std::string& payload) const;
    // Asks for records of `known` that have not come. False when there are none any more; those
    // that did not come then either are missing at the broker.
    [[nodiscard]] bool lookForMissing(const Ledger::Records& known, const Topics& topics);
    // Ends the reading and hands over what was read.
    [[nodiscard]] State take();

    void addRecord(const Key& key, std::optional<Record> record);
    WhiteLists::Lists& lists() { return state_.lists; }

private:
    void beginRound();

    BrokerSide& broker_;
    const std::string marker_;
    bool running_ = false;
    std::uint64_t round_ = 0;      // the marker's payload
    std::int64_t roundSince_ = 0;  // monotonic seconds
    State state_;
    std::optional<std::vector<Key>> missing_;  // still to be looked at; nothing: not yet known
};

}  // namespace apbd
