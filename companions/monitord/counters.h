#pragma once

// The traffic of each station, as the firewall counts it: the sets "up" (what the station sent) and
// "down" (what was sent to it) of the table "netdev vesta". An element's key is the device's name
// (16 bytes) and the MAC (6 bytes and 2 of padding); a counter hangs on each element. Whoever makes
// the rules makes a station's elements before it announces the station, and deletes them with it.
//
// Threads: one at a time.

#include <cstdint>
#include <vector>

#include "netlink/netlink_socket.h"
#include "netlink/station_key.h"

namespace monitord {

struct Traffic {
    std::uint64_t bytes = 0;
    std::uint64_t packets = 0;
};

struct Counted {
    companion::StationKey station;
    Traffic traffic;
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

// Appends what one message of a dump says; an element that is no station's counter is left out.
void readCounters(const nlmsghdr& message, std::vector<Counted>& counters);

class CounterReader {
public:
    CounterReader() : socket_(NETLINK_NETFILTER) {}

    // Bytes are those of both directions without Ethernet headers. Throws std::system_error where
    // CAP_NET_ADMIN is missing.
    [[nodiscard]] CounterSample read();

private:
    companion::AnswerEnd readSet(const char* name, std::vector<Counted>& counters);
    void reportChange(CounterSample::Extent extent, int error);

    companion::NetlinkSocket socket_;
    CounterSample::Extent last_ = CounterSample::Extent::all;
};

}  // namespace monitord
