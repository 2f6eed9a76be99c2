#include "apbd/change_requests.h"

#include "ostrel/clock.h"
#include "ostrel/runtime.h"

namespace apbd {
namespace {

using ostrel::LogLevel;

constexpr const char* kAddRequest = "add-request";
constexpr const char* kUpdateRequest = "update-request";
constexpr const char* kDelRequest = "del-request";

const char* answerTo(const Json& request) {
    const std::string command = textOf(request, "cmd");
    if (command == kAddRequest) {
        return "add-response";
    }
    return command == kUpdateRequest ? "update-response" : "del-response";
}

std::optional<Key> stationOf(const Json& request) {
    return request.contains("user") ? keyOf(request["user"]) : std::nullopt;
}

bool isReset(const Json& request) {
    return textOf(request, "reason") == "forced";
}

// Whether a station leaves, or its session ends.
bool endsSomething(const Json& request) {
    return (textOf(request, "cmd") == kDelRequest && !isReset(request)) ||
           textOf(request, "action") == kDisassoc;
}

}  // namespace

bool ChangeRequests::isOne(const std::string& command) {
    return command == kAddRequest || command == kUpdateRequest || command == kDelRequest;
}

void ChangeRequests::handle(const Json& request, bool isLoaded) {
    const std::optional<Key> key = stationOf(request);
    if (!key || (isLoaded && !subscription_.serves(key->scope))) {
        ostrel::report(LogLevel::warning, "%s without a station of this access point",
                       textOf(request, "cmd").c_str());
        vestad_.answer(answerTo(request), request, false);
    } else if (!isWithin(kRecordBounds, request["user"].dump())) {
        ostrel::report(LogLevel::warning, "%s for %s: a record too large or too deep to be shared",
                       textOf(request, "cmd").c_str(), key->mac.c_str());
        vestad_.answer(answerTo(request), request, false);
    } else if (!isLoaded) {
        keep(request);
    } else {
        vestad_.answer(answerTo(request), request, apply(request));
    }
}

void ChangeRequests::replay() {
    std::deque<Early> early;
    early.swap(early_);
    for (Early& one : early) {
        addSessionTime(one.request["user"], ostrel::monotonicMilliseconds() - one.receivedAt);
        const bool ok = !isFromThePast(one.request) &&
                        subscription_.serves(stationOf(one.request)->scope) && apply(one.request);
        vestad_.answer(answerTo(one.request), one.request, ok);
    }
}

void ChangeRequests::keep(const Json& request) {
    if (early_.size() >= kMostKept) {
        ostrel::report(LogLevel::warning, "a change is lost: %zu wait for the broker",
                       early_.size());
        early_.pop_front();
    }
    early_.push_back({request, ostrel::monotonicMilliseconds()});
}

// An end that waited, here or for an apbd to come, while the station went on elsewhere.
bool ChangeRequests::isFromThePast(const Json& request) const {
    const Record* const record = ledger_.find(*stationOf(request));
    return endsSomething(request) && record != nullptr && record->apMac != ledger_.apMac() &&
           record->action != kDisassoc;
}

// Whether the change could be made.
bool ChangeRequests::apply(const Json& request) {
    const Key key = *stationOf(request);
    const std::string command = textOf(request, "cmd");
    if (command == kAddRequest) {
        ledger_.put(key, request["user"].dump(), sessionTimeOf(request["user"]), kAdd);
        return true;
    }
    return command == kUpdateRequest ? applyUpdate(key, request) : applyRemoval(key, request);
}

bool ChangeRequests::applyUpdate(const Key& key, const Json& request) {
    const std::string action = textOf(request, "action");
    const Record* const record = ledger_.find(key);
    const bool known = action == kAssoc || action == kDisassoc || action == kUpdate;
    if (record == nullptr || !known) {
        ostrel::report(LogLevel::warning, "update-request \"%s\" for %s: no such %s",
                       action.c_str(), key.mac.c_str(), known ? "record" : "action");
        return false;
    }
    const Json& user = request["user"];
    ledger_.put(key, mergedUser(record->user, user), sessionTimeAfter(*record, user), action);
    return true;
}

bool ChangeRequests::applyRemoval(const Key& key, const Json& request) {
    if (isReset(request)) {
        ledger_.put(key, request["user"].dump(), sessionTimeOf(request["user"]), kReset);
    } else if (ledger_.find(key) != nullptr) {
        ledger_.remove(key);
    }
    return true;
}

}  // namespace apbd
