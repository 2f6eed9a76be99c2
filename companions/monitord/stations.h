#pragma once

// Who is there, since when, and how much each has sent and got: what is said of a station is kept
// here and judged.
//
// A radio's own list decides for the stations of its device. Elsewhere a station is there as long
// as something has proved it within a time: its counter moved, the kernel reached it, its bridge
// heard it. A counter that is new is a station that has just been announced, and counts as there
// whatever else is known.
//
// Threads: one at a time.

#include <array>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "monitord/counters.h"
#include "netlink/station_key.h"

namespace monitord {

using companion::Mac;
using companion::MacHash;
using companion::StationKey;

// Milliseconds of the monotonic clock.
using Time = std::int64_t;

// The stations of a radio, each with the time at which it connected.
using RadioList = std::unordered_map<Mac, Time, MacHash>;

struct Record {
    Passage up;
    Passage down;
    Time since = 0;         // of this connection
    Time seen = 0;          // the last proof that it is there
    Time counted = 0;       // when its counter was first met; 0 when that is long ago
    Time uncounted = 0;     // since when it has no counter any more; 0 when it has one
    unsigned int pass = 0;  // the last sample that had its counter
    bool present = false;
};

class Stations {
public:
    // More are not kept: so many fit into one frame of the bus, whatever their numbers
    // (215 bytes each at the most).
    static constexpr std::size_t kMost = 65536;
    // A station whose counter is new is there for so long, though its radio may not have told yet.
    static constexpr Time kNewMs = 2000;
    // When nobody has a counter any more the rules are made anew, and their stations told anew
    // within this time. A station that alone has lost its counter was forgotten by the daemon.
    static constexpr Time kUncountedMs = 10000;

    // `goneAfterMs`: after so long without a proof a station is gone.
    explicit Stations(Time goneAfterMs) : goneAfterMs_(goneAfterMs) {}

    void takeCounters(const CounterSample& sample, Time now);
    // The kernel or a bridge proves that the station was there at `seen`. Of a station that nobody
    // counts it is news only while there are no counters at all.
    void takeProof(const StationKey& station, Time seen, Time now);
    // The radio of `device` serves these stations and no others; nothing: it does not say.
    void setRadio(const std::string& device, std::optional<RadioList> list);
    // A record that an earlier process has kept.
    void restore(const StationKey& station, const Record& record, Time now);

    // Decides who is there. Call it when something was taken, before anything is asked.
    void judge(Time now);

    // Calls `visit` for each station that is known, there or not, device by device.
    void forEach(
        const std::function<void(const char* device, const Mac&, const Record&)>& visit) const;
    // The devices that have or had stations.
    [[nodiscard]] std::vector<std::string> devices() const;
    // Whether the station would soon be gone without a proof.
    [[nodiscard]] bool isSilent(const StationKey& station, Time now) const;
    // Counts how often a station came or went.
    [[nodiscard]] unsigned long long changes() const { return changes_; }
    [[nodiscard]] std::size_t count() const { return count_; }

private:
    using DeviceName = std::array<char, 16>;
    struct Device {
        std::unordered_map<Mac, Record, MacHash> records;
        std::optional<RadioList> radio;
    };

    void takeDirection(const std::vector<Counted>& counters, Passage Record::*direction, Time now);
    [[nodiscard]] Record* find(const StationKey& station);
    // Null when there are too many.
    Record* make(const StationKey& station);
    [[nodiscard]] bool isThere(const Device& device, const Mac& mac, Record& record,
                               Time now) const;
    [[nodiscard]] bool isOver(const Record& record, Time now) const;

    Time goneAfterMs_;
    std::map<DeviceName, Device> devices_;
    std::size_t count_ = 0;
    unsigned int pass_ = 0;
    unsigned long long changes_ = 0;
    bool hasTable_ = true;
    bool isFull_ = false;
};

}  // namespace monitord
