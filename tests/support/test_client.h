#pragma once

// A client whose access is open, with the limits that a test wants: what an informator is told of.

#include <memory>
#include <string>

#include "client/client.h"
#include "client/portal_instance_interface.h"
#include "scenario/scenario_sequence.h"
#include "station/client_statistic_info.h"
#include "support/keyed_scenarios.h"

namespace vesta::testing {

inline constexpr const char* kClientMac = "0a:1b:2c:3d:4e:5f";
inline constexpr const char* kClientIp = "10.1.2.3";

inline std::shared_ptr<Client> makeClient(PortalInstanceInterface& owner,
                                          unsigned int txMaxSpeed = 0, unsigned int rxMaxSpeed = 0,
                                          const std::string& ip = kClientIp,
                                          const std::string& mac = kClientMac) {
    const std::string open = R"({"type": "allow", "name": "open", "tx-speed": ")" +
                             std::to_string(txMaxSpeed) + R"(", "rx-speed": ")" +
                             std::to_string(rxMaxSpeed) + "\"}";
    return std::make_shared<Client>(sequence<ScenarioSequence>({open.c_str()}), MacAddr(mac), ip,
                                    1500, owner);
}

}  // namespace vesta::testing
