#pragma once

// Ends the flows of stations whose authorisation has ended. Their packets stop by the station's
// state alone; without its entry of the connection table a flow is also decided upon anew, so that
// what goes on is redirected or reset at once.
//
// Threads: the one that runs the event loop.

#include <netinet/in.h>

#include <set>
#include <string>

#include "common/event_loop.h"
#include "netlink/connections.h"
#include "ostrel/addresses.h"

namespace redirectord {

class Flows {
public:
    explicit Flows(companion::EventLoop& loop);
    ~Flows();
    Flows(const Flows&) = delete;
    Flows& operator=(const Flows&) = delete;

    // Deletes the flows of the addresses that the station with this MAC has: `ip`, and those in the
    // neighbour tables. Those of many stations in one pass through the table, shortly after.
    void cut(const ostrel::MacBytes& mac, in_addr ip);
    // It is authorised again: what has not been cut yet may stay.
    void spare(const ostrel::MacBytes& mac, in_addr ip);

private:
    using Clock = companion::EventLoop::Clock;

    void schedule();
    void begin();
    void finish();

    companion::EventLoop& loop_;
    companion::Connections connections_;
    std::set<ostrel::MacBytes> macs_;  // wanted, for the next pass
    std::set<std::string> addresses_;  // the same
    bool scheduled_ = false;
    bool reading_ = false;
    Clock::time_point began_{};
    Clock::time_point notBefore_{};  // the next pass
};

}  // namespace redirectord
