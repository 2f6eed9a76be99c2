#pragma once

// Translations between the daemon's values and those of RADIUS. Stateless.

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "ostrel/librad.h"
#include "station/client_statistic_info.h"
#include "station/command_info.h"

namespace vesta {

class RadiusMapper {
public:
    // Acct-Terminate-Cause (RFC 2866 section 5.10); 0, no cause, for an unknown reason.
    static std::uint32_t reasonToAcctTerm(EndReason reason);
    // The two words of an Acct-Session-Id "%08X-%08X"; nothing for any other text.
    static std::optional<std::pair<std::uint32_t, std::uint32_t>> parseSessionId(
        const std::string& text);
    // A station's counters on `interfaceName`, as accounting takes them.
    static librad_radius_sta_stats toStaStats(const ClientStatisticInfo& statistics,
                                              const std::string& interfaceName);
};

}  // namespace vesta
