#include "apb/apbd_outbox.h"

#include "apb/apbd_entry.h"
#include "apb/apbd_requests.h"
#include "core/json_entry.h"
#include "core/logger.h"
#include "ostrel/clock.h"
#include "ostrel/ipc.h"

namespace vesta {
namespace {

using Kind = APBDOutbox::Kind;

constexpr int kLogLine = 1;
constexpr const char* kUser = "user";

// A request that waited longer is given the session time of the moment at which it leaves.
constexpr std::int64_t kFreshMicroseconds = 1000000;

const char* templateOf(Kind kind) {
    switch (kind) {
        case Kind::add:
            return kApbdAddRequest;
        case Kind::update:
            return kApbdUpdateRequest;
        case Kind::remove:
        case Kind::reset:
            return kApbdDelRequest;
        case Kind::none:
            break;
    }
    return "{}";
}

std::string requestText(Kind kind, const std::shared_ptr<MessageEntry>& record,
                        const std::string& action) {
    JsonEntry request(templateOf(kind));
    if (kind == Kind::update) {
        request.insertStringValue("action", action.c_str());
    }
    request.insertObjectValue(kUser, record);
    if (kind == Kind::remove || kind == Kind::reset) {
        request.insertStringValue("reason", kind == Kind::reset ? kApbdForced : kApbdAwayTimeout);
    }
    return request.getStringRepresentation();
}

std::string agedRequest(const std::string& text, std::int64_t madeAt) {
    JsonEntry request(text.c_str());
    const std::shared_ptr<MessageEntry> user = request.getObjectValue(kUser);
    ageSince(madeAt, *user);
    request.insertObjectValue(kUser, user);
    return request.getStringRepresentation();
}

void logRequest(Kind kind, const char* text) {
    if (kind == Kind::add) {
        logger().Debug("%s,%d,Send auth request to apb:\n'%s'\n", "informClientAuthenticated",
                       kLogLine, text);
    } else if (kind == Kind::update) {
        logger().Debug("Send update request to apb:\n'%s'\n", text);
    } else {
        logger().Debug("Send del request to apb:\n'%s'\n", text);
    }
}

}  // namespace

void APBDOutbox::open() {
    open_ = true;
    flush();
}

APBDOutbox::Kind APBDOutbox::waiting(const Key& key) const {
    const auto place = places_.find(key);
    return place == places_.end() ? Kind::none : place->second->kind;
}

bool APBDOutbox::isWholeWaiting(const Key& key) const {
    const Kind kind = waiting(key);
    return kind == Kind::add || kind == Kind::reset;
}

void APBDOutbox::post(const Key& key, Kind kind, const std::shared_ptr<MessageEntry>& record,
                      const std::string& action) {
    const Kind whole = merged(key, kind);
    put(key, whole, requestText(whole, record, action));
    flush();
}

void APBDOutbox::drop(const Key& key) {
    const auto place = places_.find(key);
    if (place != places_.end()) {
        changes_.erase(place->second);
        places_.erase(place);
    }
}

void APBDOutbox::flush() {
    const std::int64_t now = ostrel::clock().monotonicMicroseconds();
    while (open_ && !changes_.empty() && send(changes_.front(), now)) {
        places_.erase(changes_.front().key);
        changes_.pop_front();
    }
    warned_ = warned_ && !changes_.empty();
}

APBDOutbox::Kind APBDOutbox::merged(const Key& key, Kind next) const {
    const Kind before = waiting(key);
    if (next == Kind::update && (before == Kind::add || before == Kind::reset)) {
        return before;
    }
    if (next == Kind::add && (before == Kind::remove || before == Kind::reset)) {
        return Kind::reset;
    }
    return next;
}

void APBDOutbox::put(const Key& key, Kind kind, std::string text) {
    const std::int64_t now = ostrel::clock().monotonicMicroseconds();
    const auto place = places_.find(key);
    if (place != places_.end()) {
        place->second->kind = kind;
        place->second->text = std::move(text);
        place->second->madeAt = now;
        return;
    }
    makeRoom();
    places_.emplace(key, changes_.insert(changes_.end(), Change{key, kind, std::move(text), now}));
}

void APBDOutbox::makeRoom() {
    if (changes_.size() < kMaxChanges) {
        return;
    }
    if (!warned_) {
        logger().Warning("apbd is away and %d changes wait for it: the oldest are lost\n",
                         static_cast<int>(kMaxChanges));
        warned_ = true;
    }
    places_.erase(changes_.front().key);
    changes_.pop_front();
}

bool APBDOutbox::send(const Change& change, std::int64_t now) {
    const bool waited = now - change.madeAt > kFreshMicroseconds;
    const std::string request = waited ? agedRequest(change.text, change.madeAt) : change.text;
    logRequest(change.kind, request.c_str());
    return ipc_->send(request, IPC_MODULE_APBD);
}

}  // namespace vesta
