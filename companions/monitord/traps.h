#pragma once

// What happens to the stations, told by the daemon ("cp-client-trap") and written to the system
// log.
//
// Threads: one at a time.

#include <string>

#include "monitord/syslog.h"
#include "ostrel/cfg.h"

namespace monitord {

class Traps {
public:
    // Writes the "event" of the trap `text` as one line; a trap without one is reported and
    // dropped. Control characters in it become "?": a login is what a user typed.
    void write(const std::string& text);

private:
    Syslog syslog_;
};

}  // namespace monitord
