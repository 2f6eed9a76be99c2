#include "apbd/vestad_side.h"

#include "ostrel/clock.h"
#include "ostrel/ipc.h"
#include "ostrel/runtime.h"

namespace apbd {
namespace {

constexpr std::size_t kUsersInNotification = 100;
// Of one frame; the bus takes 16 MiB.
constexpr std::size_t kMostFrameBytes = 4 << 20;
constexpr std::size_t kMostWaitingBytes = 64 << 20;

// What is told of a record whose scenarios don't matter.
Json withoutScenarios(const Record& record) {
    Json user = agedUser(record);
    user.erase("scenario");
    return user;
}

// The next of `all` from `from` on, which moves behind them.
Json batch(const std::vector<Json>& all, std::size_t& from, std::size_t most) {
    Json taken = Json::array();
    std::size_t bytes = 0;
    while (from < all.size() && taken.size() < most && bytes < kMostFrameBytes) {
        bytes += all[from].dump().size();
        taken.push_back(all[from++]);
    }
    return taken;
}

Json subscribeResponse(Json users, Json whiteLists) {
    return {{"command", "subscribe-response"},
            {"status", "success"},
            {"user", std::move(users)},
            {"permitted-ip-list", std::move(whiteLists)}};
}

}  // namespace

void VestadSide::begins() {
    waiting_.clear();
    waitingBytes_ = 0;
    subscribed_ = false;
    hasLost_ = false;
}

void VestadSide::announce(const char* command) {
    if (!bus_.send(Json{{"command", command}}.dump(), IPC_MODULE_VESTAD)) {
        ostrel::report(ostrel::LogLevel::debug, "vestad is not there to be told \"%s\"", command);
    }
}

void VestadSide::answer(const char* command, const Json& request, bool success) {
    Json message = {{"command", command}, {"status", success ? "success" : "failed"}};
    if (request.contains("context")) {
        message["context"] = request["context"];
    }
    say(message);
}

void VestadSide::answerSubscription(const std::vector<Json>& users,
                                    const std::vector<Json>& whiteLists) {
    std::size_t user = 0;
    std::size_t list = 0;
    say(subscribeResponse(batch(users, user, kMostUsers),
                          batch(whiteLists, list, whiteLists.size())));
    subscribed_ = true;
    hasLost_ = false;
    tellWhiteLists(whiteLists, list);
    while (user < users.size()) {
        say({{"command", "add-notify"}, {"user", batch(users, user, kUsersInNotification)}});
    }
}

void VestadSide::refuseSubscription(const Json& request) {
    subscribed_ = false;
    answer("subscribe-response", request, false);
}

void VestadSide::tellWhiteLists(const std::vector<Json>& whiteLists, std::size_t from) {
    while (subscribed_ && from < whiteLists.size()) {
        say(subscribeResponse(Json::array(), batch(whiteLists, from, whiteLists.size())));
    }
}

void VestadSide::notifyAdded(const Record& record) {
    notify("add-notify", agedUser(record));
}

void VestadSide::notifyUpdated(const Record& record) {
    const bool moves = record.action == kAssoc || record.action == kDisassoc;
    notify("update-notify", withoutScenarios(record), moves ? record.action.c_str() : kUpdate);
}

void VestadSide::notifyDeleted(const Record& record) {
    notify("del-notify", withoutScenarios(record));
}

void VestadSide::notify(const char* command, Json user, const char* action) {
    if (!subscribed_) {
        return;
    }
    Json message = {{"command", command}};
    message["user"] = Json::array();
    message["user"].push_back(std::move(user));
    if (action != nullptr) {
        message["action"] = action;
    }
    say(message);
}

void VestadSide::say(const Json& message) {
    if (waiting_.empty()) {
        stuckSince_ = ostrel::monotonicSeconds();
    }
    waiting_.push_back(message.dump());
    waitingBytes_ += waiting_.back().size();
    ostrel::report(ostrel::LogLevel::debug, "to vestad: %s", waiting_.back().c_str());
    flush();
}

void VestadSide::flush() {
    while (!waiting_.empty() && bus_.send(waiting_.front(), IPC_MODULE_VESTAD)) {
        waitingBytes_ -= waiting_.front().size();
        waiting_.pop_front();
        stuckSince_ = ostrel::monotonicSeconds();
    }
    const bool stuck = ostrel::monotonicSeconds() - stuckSince_ >= kPatienceSeconds;
    if (!waiting_.empty() && (stuck || waitingBytes_ > kMostWaitingBytes)) {
        ostrel::report(ostrel::LogLevel::warning,
                       "vestad takes nothing: %zu messages dropped until it subscribes anew",
                       waiting_.size());
        begins();
        hasLost_ = true;
    }
}

}  // namespace apbd
