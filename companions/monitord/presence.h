#pragma once

// What the kernel knows of who is there: it looks into the neighbour table and the bridges' tables,
// and has silent stations asked, so that one that sleeps is not taken for one that left.
//
// Threads: one at a time.

#include <deque>

#include "monitord/stations.h"
#include "netlink/neighbours.h"

namespace monitord {

class Presence {
public:
    // Asking costs up to three small frames each.
    static constexpr std::size_t kMostAskedAtATime = 500;

    explicit Presence(Stations& stations) : stations_(stations) {}

    // Takes over what the tables say, and notes who is silent and has an address to be asked at.
    void look(Time now);
    // Has some of them asked. Call it once a second.
    void askSilent(Time now);

private:
    struct Silent {
        StationKey station;
        companion::Neighbour neighbour;
    };

    Stations& stations_;
    companion::NeighbourTables tables_;
    std::deque<Silent> silent_;
};

}  // namespace monitord
