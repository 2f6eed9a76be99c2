#pragma once

// The stations of an instance and whoever hears of them: how a station comes, how it moves on to
// another scenario, and the one way in which it goes.
//
// Threads: under the lock of the instance.

#include <cstddef>
#include <string>
#include <utility>

#include "client/client_table.h"
#include "portal/informators.h"
#include "station/command_info.h"

namespace vesta {

// What moves a station on to another of its scenarios.
struct ScenarioMove {
    bool (Client::*enter)();
    EndReason reason;       // why the scenario ends that it leaves
    const char* operation;  // for log records
    const char* action;     // for log records
};

inline constexpr ScenarioMove kAuthenticated{&Client::set_auth_scenario_client, END_REASON_NONE,
                                             "set_auth_scenario_client", "set auth scenario"};
inline constexpr ScenarioMove kDeauthenticated{&Client::set_deauth_scenario_client,
                                               END_REASON_TIME_EXPIRED,
                                               "set_deauth_scenario_client", "set deauth scenario"};
inline constexpr ScenarioMove kMacAuthSuccess{&Client::setMacAuthSuccessScenario, END_REASON_NONE,
                                              "setMacAuthSuccessScenario",
                                              "enable success mac auth scenario"};
inline constexpr ScenarioMove kMacAuthFailure{&Client::setMacAuthFailureScenario, END_REASON_NONE,
                                              "setMacAuthFailureScenario",
                                              "enable failure mac auth scenario"};

// Whether a station that goes is thrown off the air, too.
enum class Deauth { no, yes };

class Stations {
public:
    using ClientPtr = std::shared_ptr<Client>;

    // Stations that were never connected: beyond this many the oldest of them goes, so that forged
    // addresses can't fill the memory.
    static constexpr std::size_t kMaxNeverConnected = 16384;
    // Stations in all. Beyond this many the longest absent goes: randomised addresses can't fill a
    // board that forgets nobody.
    static constexpr std::size_t kMaxStations = 65536;

    explicit Stations(Informators informators) : informators_(std::move(informators)) {}

    [[nodiscard]] ClientTable& table() { return table_; }
    [[nodiscard]] const ClientTable& table() const { return table_; }
    [[nodiscard]] Informators& informators() { return informators_; }

    // Takes in a station that is not here yet; the informators hear of it when it connects.
    void add(ClientPtr client);
    // The address as the station `mac` may have it from now on: "" for "0.0.0.0". Another station
    // that had it has none until it is reported again.
    [[nodiscard]] std::string claimAddress(const MacAddr& mac, const std::string& ip);
    // The station has this address from now on; the informators are told where it is another one.
    void setAddress(const ClientPtr& client, const std::string& ip);
    // Moves the station and tells the informators of its new scenario. False when it is not here or
    // there is no scenario to enter.
    bool move(const ClientPtr& client, const ScenarioMove& move);
    // Ends the station: throws it off the air where that is asked for, tells the informators that
    // it is removed and why, and takes it out of the table. False when it is not here.
    bool end(const ClientPtr& client, EndReason reason, Deauth deauth);

private:
    ClientTable table_;
    Informators informators_;
};

}  // namespace vesta
