// What vestad asks: its subscription, and the changes of its own stations.

#include <algorithm>

#include "apbd/sharing.h"
#include "ostrel/clock.h"
#include "ostrel/ipc.h"
#include "ostrel/runtime.h"

namespace apbd {
namespace {

using ostrel::LogLevel;

constexpr const char* kAddRequest = "add-request";
constexpr const char* kUpdateRequest = "update-request";
constexpr const char* kDelRequest = "del-request";

std::string textOf(const Json& object, const char* key) {
    const auto member = object.find(key);
    return member != object.end() && member->is_string() ? member->get<std::string>() : "";
}

const char* answerTo(const std::string& command) {
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

// Whether a station goes, or its session does.
bool endsSomething(const Json& request) {
    return (textOf(request, "cmd") == kDelRequest && !isReset(request)) ||
           textOf(request, "action") == kDisassoc;
}

}  // namespace

void Sharing::handleRequest(const std::string& text, int sender) {
    const Json request = Json::parse(text, nullptr, false);
    if (!request.is_object()) {
        ostrel::report(LogLevel::warning, "module %d sends no JSON object", sender);
        return;
    }
    ostrel::report(LogLevel::debug, "from module %d: %s", sender, text.c_str());
    const std::string command = textOf(request, "cmd");
    if (command == "status") {
        handleStatus(sender);
    } else if (sender != IPC_MODULE_VESTAD) {
        ostrel::report(LogLevel::warning, "module %d sends \"%s\": only vestad may", sender,
                       command.c_str());
    } else if (command == "subscribe-request") {
        handleSubscribe(request);
    } else if (command == kAddRequest || command == kUpdateRequest || command == kDelRequest) {
        handleChange(request);
    }
}

void Sharing::handleStatus(int sender) {
    if (sender != IPC_MODULE_VESTAD) {
        if (!bus_.send(Json{{"command", "connected"}}.dump(), sender)) {
            ostrel::report(LogLevel::debug, "module %d is gone before its answer", sender);
        }
        return;
    }
    vestad_.begins();
    vestad_.announce("connected");
}

void Sharing::handleSubscribe(const Json& request) {
    const std::map<Scope, std::string> before = scopes_;
    if (!takeScopes(request)) {
        ostrel::report(LogLevel::warning, "subscription without \"mobility-domain-list\"");
        vestad_.refuseSubscription(request);
        return;
    }
    apMac_ = textOf(request, "ap-mac");
    if (scopes_ != before) {
        forgetOtherScopes();
        everLoaded_ = false;
        if (connected_) {
            load();
        }
    }
    if (everLoaded_ && phase_ != Phase::loading) {
        answerSubscription();
        return;
    }
    answerDue_ = true;
    refusalDue_ = true;
    subscribedAt_ = ostrel::monotonicSeconds();
}

// The broker may just be on its way; but who waits for it is not left without a word.
void Sharing::refuseLateSubscription(std::int64_t now) {
    if (answerDue_ && refusalDue_ && !connected_ && now - subscribedAt_ >= kRefusalSeconds) {
        refusalDue_ = false;
        vestad_.refuseSubscription(Json::object());
    }
}

bool Sharing::takeScopes(const Json& request) {
    const auto list = request.find("mobility-domain-list");
    if (list == request.end() || !list->is_array()) {
        return false;
    }
    std::map<Scope, std::string> scopes;
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

void Sharing::forgetOtherScopes() {
    const auto drop = [this](auto& records) {
        for (auto record = records.begin(); record != records.end();) {
            const bool kept = scopes_.count(record->first.scope) > 0;
            record = kept ? std::next(record) : records.erase(record);
        }
    };
    drop(book_);
    drop(unconfirmed_);
    lists_.clear();
}

void Sharing::answerSubscription() {
    answerDue_ = false;
    std::vector<Json> users;
    users.reserve(book_.size());
    for (const auto& [key, record] : book_) {
        users.push_back(agedUser(record));
    }
    Json lists = Json::array();
    for (const auto& [topic, list] : lists_) {
        lists.push_back(whiteListEntry(list));
    }
    ostrel::report(LogLevel::debug, "subscription: %zu records, %zu white lists", users.size(),
                   lists.size());
    vestad_.answerSubscription(users, lists);
}

Json Sharing::whiteListEntry(const WhiteList& list) const {
    Json entry = {{"permitted-ip", list.values}};
    if (!list.place.isFurtherList) {
        const Scope& scope = list.place.scope;
        const auto known = scopes_.find(scope);
        entry["mobility-domain"] = {{"ssid", scope.ssid},
                                    {"mobility-domain", scope.domain},
                                    {"radius-domain", known == scopes_.end() ? "" : known->second}};
    }
    return entry;
}

void Sharing::handleChange(const Json& request) {
    const std::string command = textOf(request, "cmd");
    const std::optional<Key> key = stationOf(request);
    if (!key || (everLoaded_ && scopes_.count(key->scope) == 0)) {
        ostrel::report(LogLevel::warning, "%s without a station of this access point",
                       command.c_str());
        vestad_.answer(answerTo(command), request, false);
    } else if (!everLoaded_) {
        keepEarly(request);
    } else {
        vestad_.answer(answerTo(command), request, apply(request));
    }
    remindOfSubscription();
}

// A vestad that sends changes takes itself for subscribed, perhaps with an apbd before this one.
void Sharing::remindOfSubscription() {
    const std::int64_t now = ostrel::monotonicSeconds();
    if (!vestad_.isSubscribed() && !answerDue_ && now - announcedAt_ >= kLoadSeconds) {
        announcedAt_ = now;
        vestad_.announce("connected");
    }
}

void Sharing::keepEarly(const Json& request) {
    if (early_.size() >= kMostKept) {
        ostrel::report(LogLevel::warning, "a change is lost: %zu wait for the broker",
                       early_.size());
        early_.pop_front();
    }
    early_.push_back({request, ostrel::monotonicMilliseconds()});
}

void Sharing::replayEarly() {
    std::deque<EarlyRequest> early;
    early.swap(early_);
    for (EarlyRequest& one : early) {
        addSessionTime(one.request["user"], ostrel::monotonicMilliseconds() - one.receivedAt);
        const bool ok = !isFromThePast(one.request) &&
                        scopes_.count(stationOf(one.request)->scope) > 0 && apply(one.request);
        vestad_.answer(answerTo(textOf(one.request, "cmd")), one.request, ok);
    }
}

// An end that waited, here or for an apbd to come, while the station went on elsewhere.
bool Sharing::isFromThePast(const Json& request) const {
    const auto record = book_.find(*stationOf(request));
    return endsSomething(request) && record != book_.end() && record->second.apMac != apMac_ &&
           record->second.action != kDisassoc;
}

// Whether the change could be made.
bool Sharing::apply(const Json& request) {
    const Key key = *stationOf(request);
    const std::string command = textOf(request, "cmd");
    if (command == kAddRequest) {
        put(key, request["user"].dump(), sessionTimeOf(request["user"]), kAdd);
        return true;
    }
    return command == kUpdateRequest ? applyUpdate(key, request) : applyRemoval(key, request);
}

bool Sharing::applyUpdate(const Key& key, const Json& request) {
    const std::string action = textOf(request, "action");
    const auto record = book_.find(key);
    const bool known = action == kAssoc || action == kDisassoc || action == kUpdate;
    if (record == book_.end() || !known) {
        ostrel::report(LogLevel::warning, "update-request \"%s\" for %s: no such %s",
                       action.c_str(), key.mac.c_str(), known ? "record" : "action");
        return false;
    }
    const Json& user = request["user"];
    put(key, mergedUser(record->second.user, user), sessionTimeAfter(record->second, user), action);
    return true;
}

bool Sharing::applyRemoval(const Key& key, const Json& request) {
    if (isReset(request)) {
        put(key, request["user"].dump(), sessionTimeOf(request["user"]), kReset);
        return true;
    }
    if (book_.count(key) > 0) {
        remove(key);
    }
    return true;
}

void Sharing::put(const Key& key, std::string user, std::int64_t sessionTime,
                  const std::string& action) {
    Change& made = change(key);
    made.anew = made.anew || made.removes || action == kAdd || action == kReset;
    made.removes = false;
    Record& record = book_[key];
    record = Record();
    record.user = std::move(user);
    record.action = action;
    record.version = {instance_, made.number};
    record.apMac = apMac_;
    record.time = made.time;
    record.sessionTime = sessionTime;
    record.receivedAt = ostrel::monotonicMilliseconds();
    publish(key);
}

void Sharing::remove(const Key& key) {
    change(key).removes = true;
    book_.erase(key);
    publish(key);
}

// The unconfirmed change of the record, renumbered: what is done next is the last word.
Sharing::Change& Sharing::change(const Key& key) {
    const auto known = unconfirmed_.find(key);
    if (known == unconfirmed_.end()) {
        if (unconfirmed_.size() >= kMostKept) {
            const auto oldest = std::min_element(unconfirmed_.begin(), unconfirmed_.end(),
                                                 [](const auto& one, const auto& other) {
                                                     return one.second.number < other.second.number;
                                                 });
            ostrel::report(LogLevel::warning, "the change of %s is lost: %zu wait for the broker",
                           oldest->first.mac.c_str(), unconfirmed_.size());
            unconfirmed_.erase(oldest);
        }
        const auto record = book_.find(key);
        if (record != book_.end()) {
            unconfirmed_[key].base = record->second.version;
        }
    }
    Change& made = unconfirmed_[key];
    made.number = ++lastNumber_;
    made.time = ostrel::wallMilliseconds();
    made.publishedAt = ostrel::monotonicSeconds();
    return made;
}

}  // namespace apbd
