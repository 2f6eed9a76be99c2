#pragma once

// A VAP's "radius" object, for the RADIUS worker of its instance.

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

// A server's record for the library. A port outside 1 to 65535 becomes 0.
[[nodiscard]] librad_radius_server allocRadiusServer(const std::string& address, int port,
                                                     const std::string& secret);

// Reads the keys that `workmode` needs. A key that is missing or of a wrong type counts as empty,
// and a warning names the interface. The instance then serves on with a server that can't be asked.
[[nodiscard]] RadiusConfig readRadiusConfig(MessageEntry& radius, RadiusWorkmode workmode,
                                            const std::string& interfaceName);

}  // namespace vesta
