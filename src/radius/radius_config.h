#pragma once

// A VAP's "radius" object, as the RADIUS worker of its instance uses it.

#include <memory>
#include <string>

#include "core/message_entry.h"
#include "ostrel/librad.h"
#include "radius/radius_modes.h"

namespace vesta {

struct RadiusConfig {
    librad_radius_client_config client;
    unsigned int acctInterval = 0;  // seconds between interim updates, 0 = none
    bool sendAcctId = false;        // whether an Access-Request carries the session id
};

// A server's record; a port that is none becomes 0.
[[nodiscard]] librad_radius_server allocRadiusServer(const std::string& address, int port,
                                                     const std::string& secret);

// Reads what `workmode` needs. A key that is missing or of a wrong type is empty and warned about
// with the interface's name; so an instance serves on with a server that can't be asked.
[[nodiscard]] RadiusConfig readRadiusConfig(MessageEntry& radius, RadiusWorkmode workmode,
                                            const std::string& interfaceName);

}  // namespace vesta
