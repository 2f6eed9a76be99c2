#include "apbd/sharing.h"

#include <algorithm>

#include "ostrel/clock.h"
#include "ostrel/runtime.h"

namespace apbd {

Sharing::Sharing(BusSide& bus, BrokerSide& broker, const std::string& root, std::string instance)
    : broker_(broker),
      bus_(bus),
      vestad_(bus),
      topics_(root),
      instance_(std::move(instance)),
      startedAt_(ostrel::wallMilliseconds()) {}

void Sharing::begin() {
    announcedAt_ = ostrel::monotonicSeconds();
    vestad_.announce("connected");
}

void Sharing::end() {
    vestad_.flush();
    vestad_.announce("disconnected");
}

void Sharing::tick() {
    vestad_.flush();
    const std::int64_t now = ostrel::monotonicSeconds();
    if (vestad_.hasLost()) {
        remindOfSubscription();
    }
    refuseLateSubscription(now);
    if (phase_ == Phase::loading && now - loadingSince_ >= kLoadSeconds) {
        ostrel::report(ostrel::LogLevel::warning,
                       "the marker on %s does not come back: may this user read and write there?",
                       topics_.marker(instance_).c_str());
        load();
    } else if (phase_ == Phase::ready && isOverdue(now)) {
        ostrel::report(ostrel::LogLevel::warning,
                       "publications do not come round: may this user read and write under %s?",
                       topics_.filter(scopes_.begin()->first).c_str());
        load();
    }
}

bool Sharing::isOverdue(std::int64_t now) const {
    return std::any_of(unconfirmed_.begin(), unconfirmed_.end(), [now](const auto& change) {
        return now - change.second.publishedAt >= kConfirmSeconds;
    });
}

}  // namespace apbd
