#pragma once

// Writes station events to the system log. An event has the form of the "event" child of a trap.
//
// Threads: any.

#include <string>

struct cfg_t;

namespace monitord {

class Syslog {
public:
    Syslog();

    // `event` is a cfg_t* with the parameters "type", "mac", "ip", "username", "ssid", "domain",
    // "name" and "dev"; it stays the caller's.
    void log_event(void* event);
    // The line for an event.
    [[nodiscard]] static std::string describe(const cfg_t* event);
};

}  // namespace monitord
