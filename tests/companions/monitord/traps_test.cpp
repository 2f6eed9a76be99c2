#include "monitord/traps.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

#include "ostrel/cfg.h"

namespace monitord {
namespace {

TEST(Syslog, DescribesKnownTypesAndWhatElseIsThereInItsOwnOrder) {
    using Parameters = std::vector<std::pair<const char*, const char*>>;
    const std::pair<Parameters, const char*> rows[] = {
        {{{"type", "cp-auth"}}, "event: 'authenticated on captive-portal'"},
        {{{"type", "cp-deauth"}}, "event: 'deauthenticated on captive-portal'"},
        {{{"type", "cp-connected"}}, "event: 'STA connected to captive portal vap'"},
        {{{"type", "cp-disconnected"}}, "event: 'STA disconnected from captive portal vap'"},
        {{}, "event: ''"},
        {{{"dev", "wlan0-va1"},
          {"name", "hall"},
          {"domain", "d.example"},
          {"ssid", "Guest"},
          {"username", "bob"},
          {"ip", "10.1.2.3"},
          {"mac", "0a:1b:2c:3d:4e:5f"},
          {"type", "x"}},
         "event: 'x' mac: 0a:1b:2c:3d:4e:5f ip: 10.1.2.3 login: bob ssid: Guest"
         " domain: d.example name: hall interface: wlan0-va1"},
        {{{"type", "x"}, {"username", ""}, {"name", "%s"}}, "event: 'x' login:  name: %s"}};
    for (const auto& [parameters, expected] : rows) {
        const std::unique_ptr<cfg_t, void (*)(cfg_t*)> event(cfg_get_empty(), cfg_release);
        for (const auto& [name, value] : parameters) {
            cfg_set_param(event.get(), name, value);
        }
        EXPECT_EQ(Syslog::describe(event.get()), expected);
    }
}

TEST(Traps, BecomeOneReadableLineEachWhateverAUserTyped) {
    const Event event =
        readTrap(R"({"command": "cp-client-trap", "event": {"type": "cp-connected", "username":)"
                 R"( "a\nb\u0000\u001b[2J)" +
                 std::string(500, 'x') + R"(", "dev": 7, "ip": ""}})");
    ASSERT_NE(event, nullptr);
    const std::string line = Syslog::describe(event.get());
    const std::string begin =
        "event: 'STA connected to captive portal vap' ip:  login: a?b??[2Jxxx";
    EXPECT_EQ(line.substr(0, begin.size()), begin);
    EXPECT_LT(line.size(), 220U);
    for (const char* const text : {"", "[]", "{}", "7", R"({"event": []})"}) {
        EXPECT_EQ(readTrap(text), nullptr) << text;
    }
}

}  // namespace
}  // namespace monitord
