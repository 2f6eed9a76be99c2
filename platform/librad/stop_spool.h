#pragma once

// The accounting Stops that one server still owes an answer, in the order of their giving up. Of a
// station's Stops the earlier always stands before the later.
//
// Threads: guarded by the owner's lock. Times are monotonic microseconds.

#include <cstdint>
#include <deque>
#include <string>

#include "exchange.h"

namespace ostrel::radius {

class StopSpool {
public:
    static constexpr std::size_t kCapacity = 4096;

    // Keeps a Stop. False when the oldest had to go for it.
    [[nodiscard]] bool append(MessagePtr msg, std::int64_t happenedAt, std::int64_t now);
    // Whether Stops of that station (its Calling-Station-Id) wait here.
    [[nodiscard]] bool holds(const std::string& station) const;

    // The moment of the next attempt; EventLoop::kNever while there is nothing to try or an attempt
    // is under way.
    [[nodiscard]] std::int64_t nextAttempt() const;
    // Takes the first Stop out for an attempt.
    [[nodiscard]] RequestPtr beginAttempt();
    // The attempt was answered, so that the next may follow at once.
    void answered(std::int64_t now);
    // The attempt was given up after that many transmissions.
    void ignored(MessagePtr msg, unsigned int tries, std::int64_t now);
    // The server has shown that it is there.
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

    std::deque<Entry> entries_;
    bool attempting_ = false;
    std::int64_t nextAttempt_ = 0;
};

}  // namespace ostrel::radius
