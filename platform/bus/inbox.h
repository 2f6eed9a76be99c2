#pragma once

// The frames that wait for process(). The peers are served in turn, one frame each. A peer that
// still has answers to read waits with its further requests. The limit on each connection's
// unhandled input limits what waits here too.
//
// Threads: any.

#include <chrono>
#include <list>

#include "connection.h"
#include "ostrel/mutex.h"

namespace ostrel::bus {

class Inbox {
public:
    void push(Arrival arrival) EXCLUDES(mutex_);

    enum class Take { arrival, timedOut, stopped };
    // Waits for the next frame. Gives nothing once stopped.
    [[nodiscard]] Take take(Arrival& arrival) EXCLUDES(mutex_);
    // The same, until `deadline` at the latest.
    [[nodiscard]] Take takeBefore(std::chrono::steady_clock::time_point deadline, Arrival& arrival)
        EXCLUDES(mutex_);

    // Puts frames back to where they were, in front of those that came since.
    void putBack(std::list<Arrival> arrivals) EXCLUDES(mutex_);

    // To be called when a peer has read its answers, or has gone.
    void lookAgain() EXCLUDES(mutex_);

    // Ends every take(), now and from now on.
    void stop() EXCLUDES(mutex_);

private:
    using Lane = std::list<Arrival>;  // of one connection, never empty

    std::list<Lane>::iterator laneOf(const Arrival& arrival) REQUIRES(mutex_);
    // False when there is none, or none whose peer takes an answer.
    bool takeInTurn(Arrival& arrival) REQUIRES(mutex_);

    Mutex mutex_;
    CondVar changed_;
    std::list<Lane> lanes_ GUARDED_BY(mutex_);  // the next to be served first
    bool stopped_ GUARDED_BY(mutex_) = false;
};

}  // namespace ostrel::bus
