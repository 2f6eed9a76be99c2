#pragma once

// What the driver counts for one station.

#include <cstdint>

namespace ostrel {

// The counters are cumulative for the station's association. "rx" is what the access point received
// from the station, "tx" what it sent to it. Packet counters wrap at 32 bits.
struct StationCounters {
    std::uint64_t rxBytes = 0;
    std::uint64_t txBytes = 0;
    std::uint32_t rxPackets = 0;
    std::uint32_t txPackets = 0;
    std::uint32_t rxDroppedPackets = 0;
    std::uint32_t txDroppedPackets = 0;
    std::uint32_t txLostPackets = 0;
    std::uint32_t txDroppedBytes = 0;
    std::uint32_t rxDroppedBytes = 0;
    std::int32_t timeLimit = 0;  // seconds; 0: none
    std::int32_t uptime = 0;     // seconds since the station was associated
};

}  // namespace ostrel
