#pragma once

// One station's counters: from the driver's report to the client, and from the client's current
// scenario to every informator.

#include <string>

#include "ostrel/station_counters.h"
#include "station/client_identity.h"
#include "station/command_info.h"

namespace vesta {

struct ClientStatisticInfo : ostrel::StationCounters {
    ClientStatisticInfo() = default;
    // Mind the order: uptime stands before timeLimit.
    ClientStatisticInfo(const std::string& interfaceName, const MacAddr& mac,
                        unsigned long long rxBytes_, unsigned long long txBytes_,
                        unsigned long rxPackets_, unsigned long txPackets_,
                        unsigned long rxDroppedPackets_, unsigned long txDroppedPackets_,
                        unsigned long txLostPackets_, unsigned long txDroppedBytes_,
                        unsigned long rxDroppedBytes_, long uptime_, long timeLimit_,
                        EndReason reason = END_REASON_NONE);

    // The counters alone, to be read or replaced in one go.
    [[nodiscard]] StationCounters& counters() { return *this; }

    // The value that made a scenario end, as decimal text: the time limit for "time-over", the
    // uptime for "session-over", for "traffic-over" the sum of the two byte counters' low 32 bits
    // as a signed number; else "".
    [[nodiscard]] std::string getExpiredValue(std::string reason) const;

    std::string interface;  // empty in records made by a scenario
    ClientIdentity identity;
    EndReason endReason = END_REASON_NONE;
};

}  // namespace vesta
