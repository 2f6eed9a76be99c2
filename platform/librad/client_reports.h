#pragma once

// The counters of one client, and those of its reports that an outage or a flood of datagrams would
// fill the log with: a few a second are written.
//
// Threads: guarded by the client's lock.

#include <cstdint>
#include <string>

#include "ostrel/clock.h"
#include "ostrel/librad.h"
#include "ostrel/runtime.h"

namespace ostrel::radius {

class ClientReports {
public:
    librad_radius_counters counters;

    // Whether one more report is in order within this second; it is counted as written.
    [[nodiscard]] bool mayReport() {
        const std::int64_t now = monotonicSeconds();
        if (now != since_) {
            since_ = now;
            written_ = 0;
        }
        return ++written_ <= kReportsASecond;
    }

    // Counts a datagram of `server` that is dropped, and says why.
    void dropped(std::uint64_t librad_radius_counters::*counter, const std::string& server,
                 const char* why) {
        ++(counters.*counter);
        if (mayReport()) {
            report(LogLevel::warning, "RADIUS: %s: %s, dropped", server.c_str(), why);
        }
    }

private:
    static constexpr unsigned int kReportsASecond = 5;

    std::int64_t since_ = 0;
    unsigned int written_ = 0;
};

}  // namespace ostrel::radius
