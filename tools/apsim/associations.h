#pragma once

// The radio's table of associated stations with their traffic counters, as monitord reports it.
//
// Threads: every function may be called from any thread.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "apsim/event_log.h"
#include "ostrel/mutex.h"

namespace apsim {

// Seen from the access point: rx came from the station, tx went to it.
struct Counters {
    std::uint64_t rxBytes = 0;
    std::uint64_t txBytes = 0;
    std::uint64_t rxPackets = 0;
    std::uint64_t txPackets = 0;
};

class Associations {
public:
    // A station that is there already starts anew, its counters at zero.
    void associate(const StationId& id) EXCLUDES(mutex_);
    // False when it was not associated.
    bool leave(const StationId& id) EXCLUDES(mutex_);
    // Adds bytes, and the packets that they take; false when the station isn't associated.
    bool count(const StationId& id, std::uint64_t rxBytes, std::uint64_t txBytes) EXCLUDES(mutex_);

    [[nodiscard]] bool contains(const StationId& id) const EXCLUDES(mutex_);
    [[nodiscard]] Counters counters(const StationId& id) const EXCLUDES(mutex_);
    [[nodiscard]] std::size_t size() const EXCLUDES(mutex_);

    // The frames of the answer to a statistics request: {"context": `context`, "value": [...]}, one
    // element a station, every number as text. `context` is a JSON text; empty leaves it out. All
    // frames but the last have "more": true.
    [[nodiscard]] std::vector<std::string> statisticsAnswer(const std::string& context) const
        EXCLUDES(mutex_);

private:
    struct Association {
        StationId id;
        Counters counters;
        std::chrono::steady_clock::time_point since;
    };

    static std::string key(const StationId& id) { return id.mac + id.interface; }

    mutable ostrel::Mutex mutex_;
    std::unordered_map<std::string, Association> stations_ GUARDED_BY(mutex_);
};

}  // namespace apsim
