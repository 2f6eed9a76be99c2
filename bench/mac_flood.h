#pragma once

// A station that makes up a new MAC for every frame.
//
// Threads: one of its own sends.

#include <atomic>
#include <thread>

#include "companions/redirectord/access_point.h"

namespace vesta::bench {

class MacFlood {
public:
    // Sends broadcasts of IPv4 from the station's device, as fast as that takes them, until the
    // end.
    explicit MacFlood(const testing::SimulatedStation& station);
    ~MacFlood();
    MacFlood(const MacFlood&) = delete;
    MacFlood& operator=(const MacFlood&) = delete;

    // Frames that the access point has received so far.
    [[nodiscard]] std::size_t sent() const { return sent_; }

private:
    void send();

    ostrel::Fd socket_;
    std::atomic<std::size_t> sent_{0};
    std::atomic<bool> ending_{false};
    std::thread sender_;
};

}  // namespace vesta::bench
