#pragma once

// A client whose access is open, with the limits that a test wants: what an informator is told of.

#include <cstdint>
#include <memory>
#include <string>

#include "client/client.h"
#include "client/client_statistic_info.h"
#include "client/portal_instance_interface.h"
#include "core/json_entry.h"
#include "messages/scenario_message_extractor.h"
#include "scenario/scenario_sequence.h"

namespace vesta::testing {

inline constexpr const char* kClientMac = "0a:1b:2c:3d:4e:5f";
inline constexpr const char* kClientIp = "10.1.2.3";

class OpenAccess final : public ScenarioMessageExtractor {
public:
    OpenAccess(unsigned int txMaxSpeed, unsigned int rxMaxSpeed)
        : txMaxSpeed_(txMaxSpeed), rxMaxSpeed_(rxMaxSpeed) {}

    std::string extractAccessType(Entry) override { return "allow"; }
    std::string extractName(Entry) override { return "open"; }
    unsigned int extractTxMaxSpeed(Entry) override { return txMaxSpeed_; }
    unsigned int extractRxMaxSpeed(Entry) override { return rxMaxSpeed_; }

private:
    unsigned int txMaxSpeed_;
    unsigned int rxMaxSpeed_;
};

inline std::shared_ptr<Client> makeClient(PortalInstanceInterface& owner,
                                          unsigned int txMaxSpeed = 0, unsigned int rxMaxSpeed = 0,
                                          const std::string& ip = kClientIp,
                                          const std::string& mac = kClientMac) {
    ScenarioSequence::Messages scenarios{std::make_shared<JsonEntry>("{}")};
    return std::make_shared<Client>(
        std::make_unique<ScenarioSequence>(scenarios,
                                           std::make_shared<OpenAccess>(txMaxSpeed, rxMaxSpeed)),
        mac, ip, 1500, owner);
}

}  // namespace vesta::testing
