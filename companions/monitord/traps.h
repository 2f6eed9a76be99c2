#pragma once

// What happens to the stations, told by the daemon ("cp-client-trap") and written to the system
// log.
//
// Threads: one at a time.

#include <memory>
#include <string>

#include "monitord/syslog.h"
#include "ostrel/cfg.h"

namespace monitord {

struct ReleaseEvent {
    void operator()(cfg_t* event) const { cfg_release(event); }
};
using Event = std::unique_ptr<cfg_t, ReleaseEvent>;

// The "event" of the trap `text`, as Syslog takes it; null when there is none. Control characters
// in it become "?" and long values are cut: a login is what a user typed.
[[nodiscard]] Event readTrap(const std::string& text);

class Traps {
public:
    // Writes one line; a trap without an event is reported and dropped.
    void write(const std::string& text);

private:
    Syslog syslog_;
};

}  // namespace monitord
