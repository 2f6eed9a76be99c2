#include "station/client_statistic_info.h"

namespace vesta {

ClientStatisticInfo::ClientStatisticInfo(
    const std::string& interfaceName, const MacAddr& mac, unsigned long long rxBytes_,
    unsigned long long txBytes_, unsigned long rxPackets_, unsigned long txPackets_,
    unsigned long rxDroppedPackets_, unsigned long txDroppedPackets_, unsigned long txLostPackets_,
    unsigned long txDroppedBytes_, unsigned long rxDroppedBytes_, long uptime_, long timeLimit_,
    EndReason reason)
    : StationCounters{rxBytes_,
                      txBytes_,
                      static_cast<std::uint32_t>(rxPackets_),
                      static_cast<std::uint32_t>(txPackets_),
                      static_cast<std::uint32_t>(rxDroppedPackets_),
                      static_cast<std::uint32_t>(txDroppedPackets_),
                      static_cast<std::uint32_t>(txLostPackets_),
                      static_cast<std::uint32_t>(txDroppedBytes_),
                      static_cast<std::uint32_t>(rxDroppedBytes_),
                      static_cast<std::int32_t>(timeLimit_),
                      static_cast<std::int32_t>(uptime_)},
      interface(interfaceName),
      identity(mac, "", "", ""),
      endReason(reason) {}

std::string ClientStatisticInfo::getExpiredValue(std::string reason) const {
    if (reason == "time-over") {
        return std::to_string(timeLimit);
    }
    if (reason == "traffic-over") {
        const auto sum = static_cast<std::uint32_t>(rxBytes + txBytes);
        return std::to_string(static_cast<std::int32_t>(sum));
    }
    if (reason == "session-over") {
        return std::to_string(uptime);
    }
    return "";
}

}  // namespace vesta
