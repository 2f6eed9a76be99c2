#pragma once

// One flow between a station and the internet, both of whose ends this process holds.
//
// Threads: one of its own sends; all functions are called on another.

#include <atomic>
#include <chrono>
#include <thread>

#include "companions/redirectord/access_point.h"

namespace vesta::bench {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

enum class Protocol { tcp, udp };
enum class Direction { toStation, fromStation };

class Flow {
public:
    // Datagrams leave a thousand times a second; TCP sends all that it can. Throws
    // std::runtime_error when the station does not reach the internet.
    Flow(const testing::AccessPointNetwork& net, int station, Protocol protocol,
         Direction direction);
    ~Flow();
    Flow(const Flow&) = delete;
    Flow& operator=(const Flow&) = delete;

    // Receives for so long.
    void receive(Seconds time);
    // Bytes that were received so far.
    [[nodiscard]] double total() const { return total_; }
    // When receive() last got some.
    [[nodiscard]] Clock::time_point lastArrival() const { return lastArrival_; }

private:
    void connectTcp(const testing::AccessPointNetwork& net, int station);
    void connectDatagrams(const testing::AccessPointNetwork& net, int station);
    void send(Protocol protocol) const;

    ostrel::Fd from_;
    ostrel::Fd to_;
    double total_ = 0;
    Clock::time_point lastArrival_{};
    std::atomic<bool> ending_{false};
    std::thread sender_;
};

}  // namespace vesta::bench
