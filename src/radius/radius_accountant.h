#pragma once

// Tells the accounting server of the stations' sessions (RFC 2866): their start, their traffic at
// intervals, their end.
//
// Threads: called under the lock of the stations' instance.

#include "radius/radius_channel.h"
#include "radius/radius_config.h"

namespace vesta {

class Client;
struct ClientStatisticInfo;

class RadiusAccountant {
public:
    // Both outlive the accountant.
    RadiusAccountant(RadiusChannel& channel, const RadiusConfig& config)
        : channel_(channel), config_(config) {}

    // Each is false when nothing was sent though it should have been; the reason is logged. An
    // update that is not due yet gives true.
    [[nodiscard]] bool sendAccountingStartMessage(const Client& client);
    [[nodiscard]] bool sendAccountingUpdateMessage(const Client& client,
                                                   const ClientStatisticInfo& statistics);
    [[nodiscard]] bool sendAccountingStopMessage(const Client& client,
                                                 const ClientStatisticInfo& statistics);

private:
    bool sendAccounting(RadiusMessagePtr msg, const Client& client,
                        RadiusChannel::NasAddress which);

    RadiusChannel& channel_;
    const RadiusConfig& config_;
};

}  // namespace vesta
