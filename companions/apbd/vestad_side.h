#pragma once

// What apbd says to its own access point's vestad, in the order in which it says it. What the bus
// can't take at once waits here; a vestad that takes nothing for long counts as gone and
// subscribes anew.
//
// Threads: none; the one that runs Sharing.

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "apbd/record.h"
#include "apbd/sides.h"

namespace apbd {

class VestadSide {
public:
    // Users in the answer to a subscription; the others follow as notifications.
    static constexpr std::size_t kMostUsers = 1000;
    static constexpr std::int64_t kPatienceSeconds = 10;

    explicit VestadSide(BusSide& bus) : bus_(bus) {}

    [[nodiscard]] bool isSubscribed() const { return subscribed_; }
    // Whether something was lost, and vestad has not subscribed since.
    [[nodiscard]] bool hasLost() const { return hasLost_; }
    [[nodiscard]] bool hasUnsent() const { return !waiting_.empty(); }

    // A vestad that has just started: nothing that was said before concerns it.
    void begins();
    // Says `command` ("connected", "disconnected") if vestad is there; it does not wait.
    void announce(const char* command);
    // The answer `command` to `request`, with its "context".
    void answer(const char* command, const Json& request, bool success);
    void answerSubscription(const std::vector<Json>& users, const std::vector<Json>& whiteLists);
    void refuseSubscription(const Json& request);
    // These do nothing without a subscription.
    void tellWhiteLists(const std::vector<Json>& whiteLists, std::size_t from = 0);
    void notifyAdded(const Record& record);
    void notifyUpdated(const Record& record);
    void notifyDeleted(const Record& record);

    // Sends what waits, as far as the bus takes it.
    void flush();

private:
    void say(const Json& message);
    void notify(const char* command, Json user, const char* action = nullptr);

    BusSide& bus_;
    bool subscribed_ = false;
    bool hasLost_ = false;
    std::deque<std::string> waiting_;
    std::size_t waitingBytes_ = 0;
    std::int64_t stuckSince_ = 0;  // monotonic seconds
};

}  // namespace apbd
