#include "apbd/subscription.h"

#include "ostrel/clock.h"
#include "ostrel/runtime.h"

namespace apbd {

using ostrel::LogLevel;

bool Subscription::take(const Json& request) {
    const auto list = request.find("mobility-domain-list");
    if (list == request.end() || !list->is_array()) {
        ostrel::report(LogLevel::warning, "subscription without \"mobility-domain-list\"");
        vestad_.refuseSubscription(request);
        return false;
    }
    Scopes scopes;
    for (const Json& entry : *list) {
        const std::string ssid = entry.is_object() ? textOf(entry, "ssid") : "";
        if (ssid.empty()) {
            ostrel::report(LogLevel::warning, "instance without SSID: %s", entry.dump().c_str());
            continue;
        }
        scopes[{textOf(entry, "mobility-domain"), ssid}] = textOf(entry, "radius-domain");
    }
    scopes_ = std::move(scopes);
    return true;
}

void Subscription::await() {
    awaited_ = true;
    refusalDue_ = true;
    awaitedSince_ = ostrel::monotonicSeconds();
}

void Subscription::answer(const Ledger::Records& records, const WhiteLists& lists) {
    awaited_ = false;
    std::vector<Json> users;
    users.reserve(records.size());
    for (const auto& [key, record] : records) {
        users.push_back(agedUser(record));
    }
    const std::vector<Json> entries = lists.entries(scopes_);
    ostrel::report(LogLevel::debug, "subscription: %zu records, %zu white lists", users.size(),
                   entries.size());
    vestad_.answerSubscription(users, entries);
}

void Subscription::refuseWhenLate() {
    if (awaited_ && refusalDue_ && ostrel::monotonicSeconds() - awaitedSince_ >= kRefusalSeconds) {
        refusalDue_ = false;
        vestad_.refuseSubscription(Json::object());
    }
}

void Subscription::announce() {
    announcedAt_ = ostrel::monotonicSeconds();
    vestad_.announce("connected");
}

void Subscription::remind() {
    if (!vestad_.isSubscribed() && !awaited_ &&
        ostrel::monotonicSeconds() - announcedAt_ >= kRemindSeconds) {
        announce();
    }
}

}  // namespace apbd
