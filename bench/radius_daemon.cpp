#include "radius_daemon.h"

namespace vesta::bench {
namespace {

using apsim::Json;

Json configuration(std::uint16_t port, const std::string& secret,
                   const std::string& runtimeDirectory) {
    Json config = daemonConfiguration(runtimeDirectory);
    Json& vap = config["interface"][0]["vap"];
    Json& portal = vap["captive-portal"];
    portal["verification-mode"] = "portal-mac-auth";
    portal["scenarios"].insert(portal["scenarios"].begin(),
                               Json{{"access-type", "drop"},
                                    {"name", "wait"},
                                    {"mac-auth-success-scenario", "guest"},
                                    {"mac-auth-failure-scenario", "login"}});
    vap["radius"] = {{"domain", ""},        {"auth-address", "127.0.0.1"},
                     {"auth-port", port},   {"auth-password", secret},
                     {"acct-address", ""},  {"acct-port", 0},
                     {"acct-password", ""}, {"acct-periodic", false},
                     {"acct-interval", 60}, {"auth-acct-id-send", false}};
    return config;
}

}  // namespace

RunningDaemon::Arrival burstAtDaemon(std::size_t stations, std::uint16_t port,
                                     const std::string& secret,
                                     const std::string& runtimeDirectory) {
    RunningDaemon daemon(configuration(port, secret, runtimeDirectory), {VESTAD_PROGRAM});
    return daemon.letIn(stations);
}

}  // namespace vesta::bench
