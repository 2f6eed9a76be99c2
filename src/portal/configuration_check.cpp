#include "portal/configuration_check.h"

#include <json-c/json.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "auth/authenticator.h"
#include "core/logger.h"
#include "core/quoted.h"
#include "ostrel/addresses.h"

namespace vesta {
namespace {

using Names = std::set<std::string>;

constexpr const char* kNumbersOfScenario[] = {
    "expire-time",   "max-session-time",      "away-timeout",           "transmit-maximum-speed",
    "traffic-limit", "receive-maximum-speed", "transmit-maximum-bytes", "receive-maximum-bytes"};
constexpr const char* kNextScenarios[] = {"auth-scenario", "deauth-scenario",
                                          "mac-auth-success-scenario", "mac-auth-failure-scenario"};
// KiB/s; the shaper is told bytes/s in 32 bits.
constexpr std::int64_t kSpeedLimit = 4194304;

json_object* member(json_object* object, const char* key) {
    json_object* value = nullptr;
    json_object_object_get_ex(object, key, &value);  // false, and null, when it is no object
    return value;
}

// "" where there is no text.
std::string textOf(json_object* object, const char* key) {
    json_object* const value = member(object, key);
    return json_object_is_type(value, json_type_string) ? json_object_get_string(value) : "";
}

bool isOn(json_object* object, const char* key) {
    json_object* const value = member(object, key);
    return json_object_is_type(value, json_type_string) ? textOf(object, key) == "true"
                                                        : json_object_get_boolean(value) != 0;
}

std::vector<json_object*> elementsOf(json_object* object, const char* key) {
    std::vector<json_object*> elements;
    json_object* const array = member(object, key);
    if (json_object_is_type(array, json_type_array)) {
        for (std::size_t i = 0; i < json_object_array_length(array); ++i) {
            elements.push_back(json_object_array_get_idx(array, i));
        }
    }
    return elements;
}

Names namesIn(const std::vector<json_object*>& objects) {
    Names names;
    for (json_object* const object : objects) {
        names.insert(textOf(object, "name"));
    }
    return names;
}

// Checks the keys of one object, which `place` names.
class ObjectCheck {
public:
    ObjectCheck(json_object* object, std::string place)
        : object_(object), place_(std::move(place)) {}

    void isNumber(const char* key) const {
        const std::string text = textOf(object_, key);
        char* end = nullptr;
        errno = 0;
        static_cast<void>(std::strtoll(text.c_str(), &end, 10));
        const bool isText = json_object_is_type(member(object_, key), json_type_string);
        if (isText && (text.empty() || *end != '\0' || errno != 0)) {
            fault(key, "where a number is wanted");
        }
    }
    void isSpeed(const char* key) const {
        if (json_object_get_int64(member(object_, key)) >= kSpeedLimit) {
            fault(key, "which is more than the shaper can be told: it wraps");
        }
    }
    void isPort(const char* key) const {
        const std::int64_t port = json_object_get_int64(member(object_, key));
        if (port < 1 || port > UINT16_MAX) {
            fault(key, "which is no port");
        }
    }
    void isAddress(const char* key) const {
        if (!ostrel::parseIpv4(textOf(object_, key))) {
            fault(key, "which is no IPv4 address");
        }
    }
    // "" names nothing, and nothing wrong.
    void isOneOf(const char* key, const Names& names, const char* what) const {
        const std::string name = textOf(object_, key);
        if (!name.empty() && names.count(name) == 0) {
            fault(key, what);
        }
    }
    void isMode(const char* key) const {
        const std::string mode = textOf(object_, key);
        if (!mode.empty() && mode != "local" && parseAuthMode(mode) == AUTH_MODE_LOCAL) {
            fault(key, "which is no mode: it is local, and lets in whoever gives a password");
        }
    }

private:
    void fault(const char* key, const char* what) const {
        json_object* const value = member(object_, key);
        const std::string text = quotedForLog(json_object_to_json_string(value));
        logger().Error("%s: \"%s\" is %s, %s\n", place_.c_str(), key, text.c_str(), what);
    }

    json_object* const object_;
    const std::string place_;
};

void checkScenario(json_object* scenario, const std::string& interfacePlace, const Names& names,
                   const Names& lists) {
    const ObjectCheck check(scenario,
                            interfacePlace + ", scenario \"" + textOf(scenario, "name") + "\"");
    for (const char* const key : kNumbersOfScenario) {
        check.isNumber(key);
    }
    check.isSpeed("transmit-maximum-speed");
    check.isSpeed("receive-maximum-speed");
    for (const char* const key : kNextScenarios) {
        check.isOneOf(key, names, "which is no scenario of this interface");
    }
    check.isOneOf("white-list", lists, "which is no white list");
}

void checkRadius(json_object* vap, json_object* portal, const std::string& place) {
    const ObjectCheck check(member(vap, "radius"), place);
    const AUTH_MODE mode = parseAuthMode(textOf(portal, "verification-mode"));
    if (mode == AUTH_MODE_RADIUS || mode == AUTH_MODE_PORTAL_MAC) {
        check.isAddress("auth-address");
        check.isPort("auth-port");
    }
    if (isOn(portal, "acct-enable")) {
        check.isAddress("acct-address");
        check.isPort("acct-port");
        check.isNumber("acct-interval");
    }
}

void checkVap(json_object* vap, const std::string& place, const Names& lists) {
    json_object* const portal = member(vap, "captive-portal");
    const ObjectCheck check(portal, place);
    check.isMode("verification-mode");
    check.isNumber("age-timeout");
    check.isOneOf("default-white-list", lists, "which is no white list");
    const std::vector<json_object*> scenarios = elementsOf(portal, "scenarios");
    for (json_object* const scenario : scenarios) {
        checkScenario(scenario, place, namesIn(scenarios), lists);
    }
    checkRadius(vap, portal, place);
}

bool isServed(json_object* entry) {
    json_object* const common = member(entry, "common");
    return textOf(common, "type") == "vap" && isOn(common, "enabled") &&
           isOn(member(member(entry, "vap"), "captive-portal"), "enabled");
}

}  // namespace

void checkConfiguration(MessageEntry& document) {
    auto* const root = static_cast<json_object*>(document.getRowMessage());
    const Names lists = namesIn(elementsOf(member(root, "captive-portal"), "white-list"));
    Names seen;
    for (json_object* const entry : elementsOf(root, "interface")) {
        if (!isServed(entry)) {
            continue;
        }
        const std::string name = textOf(entry, "name");
        if (!seen.insert(name).second) {
            logger().Error("interface %s stands twice in the configuration\n", name.c_str());
        }
        checkVap(member(entry, "vap"), "interface " + name, lists);
    }
}

}  // namespace vesta
