#pragma once

// When a request is sent again and when it is given up (RFC 5080 section 2.2.1).
//
// Threads: a value of its owner's. Times are monotonic microseconds.

#include <cstdint>

namespace ostrel::radius {

class Retransmission {
public:
    // The request has been transmitted for the first time.
    void begin(std::int64_t now);

    // The deadline has passed. True: transmit the request once more, which is counted as done.
    // False: give it up.
    [[nodiscard]] bool next(std::int64_t now);

    [[nodiscard]] std::int64_t deadline() const { return deadline_; }
    [[nodiscard]] unsigned int tries() const { return tries_; }

private:
    void wait(std::int64_t now);

    std::int64_t startedAt_ = 0;
    std::int64_t deadline_ = 0;
    unsigned int tries_ = 0;
};

}  // namespace ostrel::radius
