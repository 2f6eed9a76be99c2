#pragma once

// A whole simulated access point beside the daemon. It must be there before the daemon is, or come
// while the daemon still asks for its configuration.
//
//     apsim::AccessPoint ap(config);              // config: what stands under "config"
//     ... start vestad with the same OSTREL_RUNTIME_DIR ...
//     ap.waitForDaemon(std::chrono::seconds(5));
//     apsim::Station anna = ap.station("wlan0-va1", "02:00:00:00:00:01", "10.0.0.1");
//     anna.arrive();
//     anna.waitForAccess(apsim::Access::unauthed, std::chrono::seconds(5));
//     anna.login("anna", "secret");
//     anna.waitForAccess(apsim::Access::authed, std::chrono::seconds(5));
//
// Threads: every function may be called from any thread.

#include <set>
#include <string>

#include "apsim/associations.h"
#include "apsim/configuration_manager.h"
#include "apsim/event_log.h"
#include "apsim/module_server.h"
#include "apsim/monitord.h"
#include "requests/portal_client.h"

namespace apsim {

using tools::Json;
using tools::PortalClient;

class AccessPoint;

// A handle on one station; the access point outlives it. What a station does is an event of
// (Party::station, name of the function).
class Station {
public:
    Station(AccessPoint& accessPoint, StationId id, std::string ip);

    // Appears in monitord's list, its counters at zero.
    void associate();
    // Sends its first packet: the redirector announces it to the daemon.
    void sendPacket();
    // Both.
    void arrive();
    // Counters grow; false when it is not associated.
    bool traffic(std::uint64_t rxBytes, std::uint64_t txBytes);
    // The portal posts this login for it; the answer to "validate".
    PortalClient::Answer login(const std::string& login, const std::string& password);
    // Vanishes from monitord's list.
    void leave();

    [[nodiscard]] AccessPoint& accessPoint() const { return *accessPoint_; }
    [[nodiscard]] const StationId& id() const { return id_; }
    [[nodiscard]] const std::string& ip() const { return ip_; }
    [[nodiscard]] Access access() const;
    // Whether the redirector has it in that state within `timeout`.
    bool waitForAccess(Access access, Milliseconds timeout) const;
    // Whether it gets through to an address or host name now.
    [[nodiscard]] bool reaches(const std::string& destination) const;

private:
    AccessPoint* accessPoint_;
    StationId id_;
    std::string ip_;
};

struct AccessPointOptions {
    ModuleServerOptions modules;
    bool keepEvents = true;  // see EventLog
    // Where events go; it outlives the access point. Null: to a log of its own.
    EventLog* log = nullptr;
    int answerSeconds = 5;  // how long the portal waits for an answer
    // Where its sockets are: with another one than the environment's a process plays several.
    std::string runtimeDirectory = ostrel::runtimeDirectory();
};

class AccessPoint {
public:
    // Takes its places in the runtime directory. Throws std::runtime_error, naming what could not
    // be had. A station for which deauth-client is run leaves.
    explicit AccessPoint(const Json& config, const AccessPointOptions& options = {});

    // Whether a daemon, one that is not the process `gone`, has been configured and answers within
    // `timeout`.
    bool waitForDaemon(Milliseconds timeout, std::uint32_t gone = 0);
    // Sends SIGKILL to the daemon that is there; its process id, 0 when there is none.
    std::uint32_t killDaemon();

    // Whether the configuration has this interface.
    [[nodiscard]] bool hasInterface(const std::string& name) const {
        return interfaces_.count(name) > 0;
    }
    [[nodiscard]] const std::string& runtimeDirectory() const { return runtimeDirectory_; }

    // `mac` in lower case.
    Station station(const std::string& interface, const std::string& mac, const std::string& ip);

    EventLog& events() { return events_; }
    Associations& associations() { return associations_; }
    Monitord& monitord() { return monitord_; }
    ModuleServer& modules() { return modules_; }
    RedirectorModule& redirector() { return modules_.redirector(); }
    PortalClient& portal() { return portal_; }

private:
    EventLog ownEvents_;
    EventLog& events_;
    const std::string runtimeDirectory_;
    const std::set<std::string> interfaces_;
    Associations associations_;
    ModuleServer modules_;
    Monitord monitord_;
    PortalClient portal_;
    // Last: a daemon that is configured finds everything else in its place.
    ConfigurationManager configuration_;
};

}  // namespace apsim
