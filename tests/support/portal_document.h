#pragma once

// Configuration documents for tests, put together from the parts that a test is about.

#include <memory>
#include <string>

#include "core/json_entry.h"

namespace vesta::testing {

inline const char* const kLoginAndGuest =
    R"({"access-type": "forbid", "name": "login", "redirect-url": "http://p/login",
        "virtual-portal-name": "main", "auth-scenario": "guest", "white-list": "free"},
       {"access-type": "allow", "name": "guest", "deauth-scenario": ""})";

// One entry of "interface": an enabled VAP.
inline std::string vapText(const std::string& name, const std::string& ssid,
                           const std::string& mode = "local",
                           const std::string& scenarios = kLoginAndGuest) {
    return R"({"name": ")" + name + R"(", "common": {"type": "vap", "enabled": true}, "vap": {
        "ssid": ")" +
           ssid + R"(", "captive-portal": {"enabled": true, "age-timeout": 300,
        "verification-mode": ")" +
           mode + R"(", "default-white-list": "free",
        "acct-enable": false, "scenarios": [)" +
           scenarios + "]}}}";
}

// A whole document around a comma-separated list of interface entries.
inline std::string documentText(const std::string& interfaces) {
    return R"({"captive-portal": {"logfile": "", "loglevel": 0, "logfile-limit": 0,
        "uplink-interface": "lo", "ap-location": "hall",
        "white-list": [{"name": "free", "values": "10.0.0.0/8,example.org"},
                       {"name": "", "values": "1.2.3.4"}, {"name": "empty", "values": ""}]},
        "interface": [)" +
           interfaces + "]}";
}

inline std::shared_ptr<MessageEntry> document(const std::string& interfaces) {
    return std::make_shared<JsonEntry>(documentText(interfaces));
}

}  // namespace vesta::testing
