#include "monitord/syslog.h"

#include <syslog.h>

#include <cstring>

#include "ostrel/cfg.h"

namespace monitord {
namespace {

struct Description {
    const char* type;
    const char* text;
};

constexpr Description kDescriptions[] = {
    {"cp-auth", "authenticated on captive-portal"},
    {"cp-deauth", "deauthenticated on captive-portal"},
    {"cp-connected", "STA connected to captive portal vap"},
    {"cp-disconnected", "STA disconnected from captive portal vap"},
};

struct Parameter {
    const char* label;
    const char* name;
};

constexpr Parameter kParameters[] = {
    {" mac: ", "mac"},       {" ip: ", "ip"},     {" login: ", "username"}, {" ssid: ", "ssid"},
    {" domain: ", "domain"}, {" name: ", "name"}, {" interface: ", "dev"},
};

const char* descriptionOf(const char* type) {
    for (const Description& description : kDescriptions) {
        if (std::strcmp(description.type, type) == 0) {
            return description.text;
        }
    }
    return type;
}

}  // namespace

Syslog::Syslog() {
    openlog("monitord", LOG_PID, LOG_DAEMON);
}

void Syslog::log_event(void* event) {
    syslog(LOG_INFO, "%s", describe(static_cast<const cfg_t*>(event)).c_str());
}

std::string Syslog::describe(const cfg_t* event) {
    const char* const type = cfg_get_param(event, "type");
    std::string line = "event: '" + std::string(type != nullptr ? descriptionOf(type) : "") + "'";
    for (const Parameter& parameter : kParameters) {
        const char* const value = cfg_get_param(event, parameter.name);
        if (value != nullptr) {
            line.append(parameter.label).append(value);
        }
    }
    return line;
}

}  // namespace monitord
