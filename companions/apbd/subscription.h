#pragma once

// What vestad has subscribed to, and when it is answered, refused, or reminded to subscribe.
//
// Threads: none; the one that runs Sharing.

#include <cstdint>

#include "apbd/ledger.h"
#include "apbd/vestad_side.h"
#include "apbd/white_lists.h"

namespace apbd {

class Subscription {
public:
    // For the broker to be there, until a subscription is refused.
    static constexpr std::int64_t kRefusalSeconds = 2;
    // Between two reminders.
    static constexpr std::int64_t kRemindSeconds = 10;

    explicit Subscription(VestadSide& vestad) : vestad_(vestad) {}

    [[nodiscard]] const Scopes& scopes() const { return scopes_; }
    [[nodiscard]] bool serves(const Scope& scope) const { return scopes_.count(scope) > 0; }
    // Takes the scopes of a request. False, and vestad is refused, when it names none.
    [[nodiscard]] bool take(const Json& request);

    // vestad waits for its answer until answer(), however often it is refused meanwhile.
    void await();
    [[nodiscard]] bool isAwaited() const { return awaited_; }
    void answer(const Ledger::Records& records, const WhiteLists& lists);
    // The broker may just be on its way; but a vestad that waits for it is told so once.
    void refuseWhenLate();

    // Says that apbd is there, so that vestad subscribes.
    void announce();
    // The same for a vestad that takes itself for subscribed, perhaps with an apbd before this one.
    void remind();

private:
    VestadSide& vestad_;
    Scopes scopes_;
    bool awaited_ = false;
    bool refusalDue_ = false;
    std::int64_t awaitedSince_ = 0;  // monotonic seconds
    std::int64_t announcedAt_ = 0;   // monotonic seconds
};

}  // namespace apbd
