#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "apb/apbd_collaborator.h"
#include "apb/apbd_portal_instance_message_factory.h"
#include "core/json_entry.h"
#include "core/temporary_log.h"

namespace vesta {
namespace {

using nlohmann::json;

TEST(ApbdPortalInstanceMessageFactory, WritesTheLocationAsTheMobilityDomain) {
    APBDPortalInstanceMessageFactory factory;
    factory.createMessage();
    factory.addSsid("Guest");
    factory.addRadiusDomain("hall.example");
    factory.addApLocation("hall");
    const auto first = factory.getResultMessage();
    factory.createMessage();
    factory.addSsid("Staff");

    EXPECT_EQ(
        json::parse(first->getStringRepresentation()),
        json::parse(
            R"({"ssid": "Guest", "radius-domain": "hall.example", "mobility-domain": "hall"})"));
    EXPECT_EQ(json::parse(factory.getResultMessage()->getStringRepresentation()),
              json::parse(R"({"ssid": "Staff"})"));
}

TEST(ApbdCollaborator, SaysWhyItDoesNotSynchronise) {
    const std::pair<const char*, const char*> cases[] = {
        {"{}", "|DEBUG|No apbd part in configuration!"},
        {R"({"captive-portal": {"apbd": 1}})", "|DEBUG|No apbd part in configuration!"},
        {R"({"captive-portal": {"apbd": {}}})",
         "|DEBUG|APB not enabled. Clients not gonna be synced over APs"},
        {R"({"captive-portal": {"apbd": {"enabled": false}}})",
         "|DEBUG|APB not enabled. Clients not gonna be synced over APs"},
    };
    for (const auto& [config, record] : cases) {
        SCOPED_TRACE(config);
        const TemporaryLog log(7);
        const APBDCollaborator collaborator(std::make_shared<JsonEntry>(config), nullptr, nullptr);
        EXPECT_EQ(log.records(), TemporaryLog::Records{record});
    }
}

}  // namespace
}  // namespace vesta
