#pragma once

// The Stops that one accounting server has not answered, in the order in which they were given up.
// A station's Stops keep their order.
//
// Threads: guarded by the owner's lock. Times are monotonic microseconds.

#include <cstdint>
#include <list>
#include <string>

#include "exchange.h"

namespace ostrel::radius {

class StopSpool {
public:
    static constexpr std::size_t kCapacity = 4096;

    // Keeps a Stop. False when the oldest had to go to make room.
    [[nodiscard]] bool append(MessagePtr msg, std::int64_t happenedAt, std::int64_t now);
    // Whether Stops of the station with that Calling-Station-Id are kept.
    [[nodiscard]] bool holds(const std::string& station) const;

    // When the next attempt is due. EventLoop::kNever while an attempt is under way, or when the
    // spool is empty.
    [[nodiscard]] std::int64_t nextAttempt() const;
    // Takes the first Stop out for an attempt.
    [[nodiscard]] RequestPtr beginAttempt();
    // The attempt was answered. The next may follow at once.
    void answered(std::int64_t now);
    // The attempt was given up after that many transmissions.
    void ignored(MessagePtr msg, unsigned int tries, std::int64_t now);
    // The server has shown that it is there, so the next attempt is due now.
    void hurry(std::int64_t now);

    [[nodiscard]] librad_radius_spool_info info(std::int64_t now) const;
    // "N accounting stops are owed to SERVER, the oldest for S s"
    void reportSize(const std::string& server, std::int64_t now) const;

private:
    struct Entry {
        MessagePtr msg;  // null while its attempt is under way
        std::string station;
        std::int64_t happenedAt = 0;
        unsigned int ignored = 0;
    };

    void moveStationToEnd(const std::string& station);

    std::list<Entry> entries_;
    bool attempting_ = false;
    std::int64_t nextAttempt_ = 0;
};

}  // namespace ostrel::radius
