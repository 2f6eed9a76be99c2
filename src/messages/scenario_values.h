#pragma once

// What messages say of scenarios: what a scenario does with the traffic, and its id.

namespace vesta {

// What a client's current scenario does with its traffic.
enum ACCESS_TYPE {
    ACCESS_ALLOW = 0,     // traffic passes
    ACCESS_REDIRECT = 1,  // web requests are redirected to the portal
    ACCESS_DROP = 2,      // traffic is dropped
};

// The first scenarios of a station, ids 0 and 1, are the access point's own: peers are told of
// those behind them and count from there. Ids 0 and 1 are written as -2 and -1.
inline constexpr unsigned int kOwnScenarios = 2;

inline int idForPeers(unsigned int id) {
    return static_cast<int>(id - kOwnScenarios);
}

inline unsigned int idFromPeers(int id) {
    return static_cast<unsigned int>(id) + kOwnScenarios;
}

}  // namespace vesta
