#pragma once

// vestad's requests that change the records of its own stations: "add-request", "update-request"
// and "del-request". Those that come before the broker's state was first read wait for it.
//
// Threads: none; the one that runs Sharing.

#include <cstdint>
#include <deque>
#include <string>

#include "apbd/ledger.h"
#include "apbd/subscription.h"
#include "apbd/vestad_side.h"

namespace apbd {

class ChangeRequests {
public:
    // Requests that may wait. Beyond it the oldest is lost, with a warning.
    static constexpr std::size_t kMostKept = 8192;

    // All outlive this object.
    ChangeRequests(Ledger& ledger, VestadSide& vestad, const Subscription& subscription)
        : ledger_(ledger), vestad_(vestad), subscription_(subscription) {}

    [[nodiscard]] static bool isOne(const std::string& command);

    // Makes the change and answers vestad; before the state `isLoaded` the request waits.
    void handle(const Json& request, bool isLoaded);
    // Handles what waits; the state was read.
    void replay();

private:
    struct Early {
        Json request;
        std::int64_t receivedAt;  // monotonic milliseconds
    };

    void keep(const Json& request);
    bool isFromThePast(const Json& request) const;
    bool apply(const Json& request);
    bool applyUpdate(const Key& key, const Json& request);
    bool applyRemoval(const Key& key, const Json& request);

    Ledger& ledger_;
    VestadSide& vestad_;
    const Subscription& subscription_;
    std::deque<Early> early_;
};

}  // namespace apbd
