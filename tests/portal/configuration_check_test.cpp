#include "portal/configuration_check.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "core/temporary_log.h"
#include "support/portal_document.h"

namespace vesta::testing {
namespace {

using nlohmann::json;

TEST(ConfigurationCheck, NamesEachFaultOnce) {
    const std::string portal = "/interface/0/vap/captive-portal/";
    const std::string radius = "/interface/0/vap/radius/";
    const struct {
        std::string place;
        json value;
        std::string record;  // behind the interface
    } rows[] = {
        {portal + "verification-mode", "Radius",
         R"(: "verification-mode" is "Radius", which is no mode: )"
         "it is local, and lets in whoever gives a password"},
        {portal + "verification-mode", "local", ""},
        {portal + "verification-mode", "", ""},
        {portal + "age-timeout", "5 min",
         R"(: "age-timeout" is "5 min", where a number is wanted)"},
        {portal + "age-timeout", "300", ""},
        {portal + "default-white-list", "fre",
         R"(: "default-white-list" is "fre", which is no white list)"},
        {portal + "scenarios/0/white-list", "x",
         R"(, scenario "login": "white-list" is "x", which is no white list)"},
        {portal + "scenarios/0/auth-scenario", "gest",
         R"(, scenario "login": "auth-scenario" is "gest", which is no scenario of this interface)"},
        {portal + "scenarios/1/transmit-maximum-speed", 4194304,
         R"(, scenario "guest": "transmit-maximum-speed" is 4194304, )"
         "which is more than the shaper can be told: it wraps"},
        {portal + "scenarios/1/traffic-limit", "10 Mbit",
         R"(, scenario "guest": "traffic-limit" is "10 Mbit", where a number is wanted)"},
        {radius + "auth-address", "radius.example",
         R"(: "auth-address" is "radius.example", which is no IPv4 address)"},
        {radius + "acct-port", 65536, R"(: "acct-port" is 65536, which is no port)"},
        {"/interface/0/vap/captive-portal/enabled", false, ""},
    };
    for (const auto& row : rows) {
        json text = json::parse(documentText(vapText("wlan0-va1", "Guest", "radius")));
        text[json::json_pointer(portal + "acct-enable")] = true;
        text[json::json_pointer("/interface/0/vap/radius")] = {{"auth-address", "192.0.2.1"},
                                                               {"auth-port", 1812},
                                                               {"acct-address", "192.0.2.1"},
                                                               {"acct-port", 1813}};
        text[json::json_pointer(row.place)] = row.value;
        const TemporaryLog log(Logger::kErrorBit);
        JsonEntry entry(text.dump());
        checkConfiguration(entry);
        TemporaryLog::Records expected;
        if (!row.record.empty()) {
            expected.push_back("|ERROR|interface wlan0-va1" + row.record);
        }
        EXPECT_EQ(log.records(), expected) << row.place << " " << row.value;
    }
}

TEST(ConfigurationCheck, FindsAnInterfaceThatStandsTwice) {
    const TemporaryLog log(Logger::kErrorBit);
    checkConfiguration(*document(vapText("a", "x") + "," + vapText("a", "y")));
    EXPECT_EQ(log.records(),
              TemporaryLog::Records{"|ERROR|interface a stands twice in the configuration"});
}

}  // namespace
}  // namespace vesta::testing
