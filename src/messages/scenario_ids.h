#pragma once

// The ids of a station's scenarios. The first two are the access point's own: peers are told of
// those behind them and count from there.

namespace vesta {

inline constexpr unsigned int kOwnScenarios = 2;

// Ids 0 and 1 are written as -2 and -1.
inline int idForPeers(unsigned int id) {
    return static_cast<int>(id - kOwnScenarios);
}

inline unsigned int idFromPeers(int id) {
    return static_cast<unsigned int>(id) + kOwnScenarios;
}

}  // namespace vesta
