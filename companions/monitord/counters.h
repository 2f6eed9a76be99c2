#pragma once

// The traffic of each station, as the firewall counts it: the sets "up" (what the station sent) and
// "down" (what was sent to it) of the table "netdev vesta". An element's key is the station, with a
// counter. Whoever makes the rules makes a station's elements before it announces the station, and
// deletes them with it.
//
// These sets count in front of the queues that limit speeds. Of a station with such a queue the map
// "shape_classes" has counted what went into it, and its class what came out of it: that counts.
//
// Threads: one at a time.

#include <cstdint>
#include <vector>

#include "netlink/queue_reader.h"
#include "netlink/set_reader.h"
#include "netlink/station_key.h"

namespace monitord {

using companion::Traffic;

// One direction of a station.
struct Passage {
    Traffic passed;             // may fall a little while packets wait in a queue
    std::uint64_t counted = 0;  // packets of the set's counter; falls only when it began anew
};

struct Counted {
    companion::StationKey station;
    Passage passage;
};

struct CounterSample {
    enum class Extent {
        all,      // who is not in it has no counters
        some,     // the sets changed meanwhile: somebody may be missing
        noTable,  // nobody counts here
        none      // the kernel gave no answer
    };
    Extent extent = Extent::none;
    std::vector<Counted> up;
    std::vector<Counted> down;
};

class CounterReader {
public:
    // Bytes are those of both directions without Ethernet headers. Throws std::system_error where
    // CAP_NET_ADMIN is missing.
    [[nodiscard]] CounterSample read();

private:
    companion::AnswerEnd readSet(const char* name, std::vector<Counted>& counters);
    void takeQueues(CounterSample& sample);
    void reportChange(CounterSample::Extent extent, int error);

    companion::SetReader sets_;
    companion::QueueReader queues_;
    CounterSample::Extent last_ = CounterSample::Extent::all;
};

}  // namespace monitord
