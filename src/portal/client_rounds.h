#pragma once

// What an instance checks about its stations again and again: who came, who left, whose scenario
// ran out, who stayed away for too long, and who is due for an update.
//
// Threads: under the lock of the instance.

#include "portal/stations.h"

namespace vesta {

class Authenticator;

class ClientRounds {
public:
    // `authenticator` may be null. `ageTimeout`: the seconds that a station may stay away where its
    // scenario sets no time, 0 = for ever.
    ClientRounds(Stations& stations, Authenticator* authenticator, int ageTimeout)
        : stations_(stations), authenticator_(authenticator), ageTimeout_(ageTimeout) {}

    // After each statistics answer: a station that has not come up in it is disconnected.
    void checkClientsExpired();
    // Once a second while monitord gives no answer: whoever is connected counts as still there.
    void checkClientsWithoutStatistics();
    // Once a second.
    void makeClientsPeriodicUpdate();

private:
    using ClientPtr = Stations::ClientPtr;

    void updateClientsConnectionStatus();
    void clientConnected(const ClientPtr& client);
    void clientDisconnected(const ClientPtr& client);
    void checkClientsScenarioExpired();
    void freeAgeOutClients();

    Stations& stations_;
    Authenticator* const authenticator_;
    const int ageTimeout_;
};

}  // namespace vesta
