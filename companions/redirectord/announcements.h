#pragma once

// Tells the daemon of stations, on the datagram socket that it has bound. Its socket holds few
// datagrams: what it has no room for waits here, and the loop goes on. Each station waits once at
// most, so the queue is bounded by them.
//
// Threads: the one that runs the event loop.

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>

#include "common/event_loop.h"
#include "netlink/station_key.h"

namespace redirectord {

using companion::StationKey;

class Announcements {
public:
    // `datagramOf` makes the datagram when its turn has come; nothing when the station is gone.
    using DatagramOf = std::function<std::optional<std::string>(const StationKey&)>;

    Announcements(companion::EventLoop& loop, DatagramOf datagramOf)
        : loop_(loop), datagramOf_(std::move(datagramOf)) {}
    ~Announcements() { stop(); }
    Announcements(const Announcements&) = delete;
    Announcements& operator=(const Announcements&) = delete;

    // Sends to the process `pid` from now on, what waits first. 0, or minus the error number.
    int start(std::uint32_t pid);
    // Nobody listens any more; what waits stays.
    void stop();
    [[nodiscard]] bool started() const { return socket_.valid(); }

    void push(const StationKey& station);

private:
    void send();

    companion::EventLoop& loop_;
    DatagramOf datagramOf_;
    ostrel::Fd socket_;
    std::deque<StationKey> waiting_;
    std::string next_;  // made already, had no room yet; empty when there is none
    bool writing_ = false;
};

// The datagram of docs/modules.md. `mtu` is what vestad keeps with a station.
std::string announcement(const StationKey& station, in_addr ip, std::uint32_t mtu);

}  // namespace redirectord
