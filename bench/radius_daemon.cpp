#include "radius_daemon.h"

#include <chrono>
#include <stdexcept>

#include "apsim/access_point.h"
#include "child_process.h"
#include "stations.h"

namespace vesta::bench {
namespace {

using Clock = std::chrono::steady_clock;
using apsim::Json;

constexpr std::chrono::seconds kPatience{60};

Json configuration(std::uint16_t port, const std::string& secret, const std::string& logFile) {
    Json config = Json::parse(configurationText(1));
    config["captive-portal"]["logfile"] = logFile;
    config["captive-portal"]["loglevel"] = 3;
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

apsim::AccessPointOptions countingOnly() {
    apsim::AccessPointOptions options;
    options.keepEvents = false;
    return options;
}

}  // namespace

RadiusBurst burstAtDaemon(std::size_t stations, std::uint16_t port, const std::string& secret,
                          const std::string& runtimeDirectory) {
    apsim::AccessPoint accessPoint(configuration(port, secret, runtimeDirectory + "/vestad.log"),
                                   countingOnly());
    const ChildProcess daemon({VESTAD_PROGRAM});
    if (!accessPoint.waitForDaemon(kPatience)) {
        throw std::runtime_error("the daemon does not answer");
    }
    const Clock::time_point start = Clock::now();
    for (std::size_t i = 0; i < stations; ++i) {
        const apsim::StationId id{interfaceOf(0), macOf(i)};
        accessPoint.associations().associate(id);
        accessPoint.modules().notify(id, ipOf(i));
    }
    const auto isLetIn = [&](std::size_t i) {
        return accessPoint.redirector().access({interfaceOf(0), macOf(i)}) == apsim::Access::authed;
    };
    std::size_t next = 0;
    const auto allAreLetIn = [&] {
        while (next < stations && isLetIn(next)) {
            ++next;
        }
        return next == stations;
    };
    accessPoint.events().waitUntil(allAreLetIn, kPatience);
    RadiusBurst burst{std::chrono::duration<double>(Clock::now() - start).count(), 0};
    for (std::size_t i = next; i < stations; ++i) {
        burst.undecided += isLetIn(i) ? 0U : 1U;
    }
    return burst;
}

}  // namespace vesta::bench
