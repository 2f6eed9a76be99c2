// What does not concern a single event: the connection to apbd, the records handed out, the sending
// of requests.

#include "apb/apbd_collaborator.h"

#include "apb/apbd_client_message_extractor.h"
#include "apb/apbd_portal_instance_message_factory.h"
#include "apb/apbd_requests.h"
#include "core/json_entry.h"
#include "core/logger.h"
#include "core/singleton.h"
#include "device/factory_data.h"
#include "kernel/kernel_white_list_store.h"
#include "ostrel/clock.h"
#include "ostrel/ipc.h"
#include "portal/portal.h"

namespace vesta {
namespace {

constexpr std::int64_t kRetryMicroseconds = 10000000;
constexpr const char* kUser = "user";
constexpr const char* kSessionTime = "cur-session-time";

std::shared_ptr<MessageEntry> apbdSection(MessageEntry& config) {
    try {
        return config.getObjectValue("captive-portal")->getObjectValue("apbd");
    } catch (ENTRY_EXCEPTION_TYPE) {
        return nullptr;
    }
}

bool isEnabled(MessageEntry& section) {
    try {
        return section.getBoolValue("enabled");
    } catch (ENTRY_EXCEPTION_TYPE) {
        return false;
    }
}

// The request that waited since `time`, with the session time that its station has by now.
std::string agedRequest(const std::string& text, std::int64_t time) {
    JsonEntry request(text.c_str());
    const std::shared_ptr<MessageEntry> user = request.getObjectValue(kUser);
    ageSince(time, *user);
    request.insertObjectValue(kUser, user);
    return request.getStringRepresentation();
}

const char* templateOf(APBDOutbox::Kind kind) {
    switch (kind) {
        case APBDOutbox::Kind::add:
            return kApbdAddRequest;
        case APBDOutbox::Kind::update:
            return kApbdUpdateRequest;
        case APBDOutbox::Kind::remove:
        case APBDOutbox::Kind::reset:
            return kApbdDelRequest;
        case APBDOutbox::Kind::none:
            break;
    }
    return "{}";
}

void logRequest(APBDOutbox::Kind kind, const char* text) {
    if (kind == APBDOutbox::Kind::add) {
        logger().Debug("%s,%d,Send auth request to apb:\n'%s'\n", "informClientAuthenticated",
                       __LINE__, text);
    } else if (kind == APBDOutbox::Kind::update) {
        logger().Debug("Send update request to apb:\n'%s'\n", text);
    } else {
        logger().Debug("Send del request to apb:\n'%s'\n", text);
    }
}

}  // namespace

APBDCollaborator::APBDCollaborator(std::shared_ptr<MessageEntry> config,
                                   std::shared_ptr<IpcInterface> ipc,
                                   std::shared_ptr<Portal> portal)
    : ipc_(std::move(ipc)), portal_(portal) {
    const std::shared_ptr<MessageEntry> section = apbdSection(*config);
    if (section == nullptr) {
        logger().Debug("No apbd part in configuration!\n");
        return;
    }
    if (!isEnabled(*section)) {
        logger().Debug("APB not enabled. Clients not gonna be synced over APs\n");
        return;
    }
    enabled_ = true;
    asked_ = sendStatusRequest();
    const MutexLock lock(mutex_);
    lastAttempt_ = ostrel::clock().monotonicMicroseconds();
}

bool APBDCollaborator::sendStatusRequest() {
    if (!enabled_) {
        return false;
    }
    JsonEntry request(kApbdStatusRequest);
    const std::string text = request.getStringRepresentation();
    logger().Debug("Send status request to apbd:\n'%s'\n", text.c_str());
    return ipc_->send(text, IPC_MODULE_APBD);
}

void APBDCollaborator::sendSubscribeRequest(std::shared_ptr<Portal> portal) {
    if (!enabled_ || portal == nullptr) {
        return;
    }
    JsonEntry request(kApbdSubscribeRequest);
    request.insertStringValue("ap-mac", Singleton<Factory>::getInstance().getMac().c_str());
    request.insertArrayValue(
        "mobility-domain-list",
        portal->dumpInstancesToMessages(std::make_shared<APBDPortalInstanceMessageFactory>()));
    const std::string text = request.getStringRepresentation();
    logger().Debug("Send subscribe-request to APB server:\n'%s'\n", text.c_str());
    ipc_->send(text, IPC_MODULE_APBD);
}

void APBDCollaborator::connectedNotify() {
    if (!enabled_) {
        return;
    }
    {
        const MutexLock lock(mutex_);
        lastAttempt_ = ostrel::clock().monotonicMicroseconds();
        settleAt_ = kNever;
        for (auto& record : records_) {
            record.second.untold = true;
        }
        if (subscribed_) {
            flush();  // before apbd looks up what to answer
        }
    }
    sendSubscribeRequest(portal_.lock());
}

void APBDCollaborator::disconnectedNotify() {
    if (!enabled_) {
        return;
    }
    {
        const MutexLock lock(mutex_);
        if (!subscribed_) {
            return;
        }
        logger().Debug("%s,%d,Receive disconnect notify from APB. Clear all APB data\n",
                       "disconnectedNotify", __LINE__);
        subscribed_ = false;
        refusing_ = false;
        for (auto& record : records_) {
            record.second.untold = true;
            record.second.cleared = true;
        }
    }
    if (const std::shared_ptr<Portal> portal = portal_.lock()) {
        portal->clearWhiteIPLists();
    }
}

void APBDCollaborator::awaitReady() {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    const MutexLock lock(mutex_);
    while (asked_ && !subscribed_ && std::chrono::steady_clock::now() < deadline) {
        subscription_.waitFor(mutex_, std::chrono::milliseconds(100));
    }
}

void APBDCollaborator::updateState() {
    const std::shared_ptr<Portal> portal = portal_.lock();
    if (!enabled_ || portal == nullptr) {
        return;
    }
    bool subscribe = false;
    std::vector<Key> departing;
    {
        const MutexLock lock(mutex_);
        const std::int64_t now = ostrel::clock().monotonicMicroseconds();
        if (subscribed_) {
            settleUntold(now);
            flush();
        } else if (now - lastAttempt_ > kRetryMicroseconds) {
            lastAttempt_ = now;
            subscribe = true;
        }
        departing.assign(departing_.begin(), departing_.end());
    }
    if (subscribe) {
        sendSubscribeRequest(portal);
    }
    for (const Key& key : departing) {
        removeCopies(*portal, key);
    }
}

// What an apbd does not tell of after it has come is over for the others, or it was lost with the
// apbd before and its broker.
void APBDCollaborator::settleUntold(std::int64_t now) {
    if (now < settleAt_) {
        return;
    }
    settleAt_ = kNever;
    for (auto record = records_.begin(); record != records_.end();) {
        APBDEntry& entry = record->second;
        if (entry.untold && !entry.isHere()) {
            record = records_.erase(record);
            continue;
        }
        if (entry.untold) {
            entry.untold = false;
            entry.cleared = false;
            post(record->first, outbox_.merged(record->first, Kind::add), entry.agedMessage());
        }
        ++record;
    }
}

std::shared_ptr<MessageEntry> APBDCollaborator::getMessageForClient(const Key& identity) {
    const MutexLock lock(mutex_);
    return messageOf(find(identity));
}

std::shared_ptr<MessageEntry> APBDCollaborator::takeMessageForClient(const Key& identity,
                                                                     const std::string& vap) {
    const MutexLock lock(mutex_);
    APBDEntry* const entry = find(identity);
    std::shared_ptr<MessageEntry> message = messageOf(entry);
    if (message != nullptr) {
        entry->state = APBDEntryState::associatedHere;
        entry->vap = vap;
        departing_.insert(identity);  // a copy on another radio of this access point
    }
    return message;
}

std::shared_ptr<MessageEntry> APBDCollaborator::messageOf(const APBDEntry* entry) {
    if (entry == nullptr || entry->cleared) {
        return nullptr;
    }
    std::shared_ptr<MessageEntry> message = entry->agedMessage();
    if (logger().isDebug()) {
        logger().Debug("client %s found in messages:\n'%s'\n",
                       message->getCharValue("sta-mac").c_str(),
                       message->getStringRepresentation());
    }
    return message;
}

bool APBDCollaborator::confirmPresence(const Key& identity, const std::string& vap) {
    const MutexLock lock(mutex_);
    APBDEntry* const entry = find(identity);
    if (entry == nullptr || entry->cleared) {
        return true;
    }
    if (entry->state == APBDEntryState::received) {
        // News from its past may be under way; the others are told as soon as it is connected.
        entry->state = APBDEntryState::associatedHere;
        entry->vap = vap;
    }
    return entry->state != APBDEntryState::associatedElsewhere;
}

void APBDCollaborator::discardMessage(const Key& identity) {
    const MutexLock lock(mutex_);
    records_.erase(identity);
}

std::shared_ptr<ClientMessageExtractor> APBDCollaborator::getMessageExtractor() {
    const std::shared_ptr<Portal> portal = portal_.lock();
    return portal != nullptr
               ? std::make_shared<APBDClientMessageExtractor>(portal->getWhiteListStore())
               : nullptr;
}

bool APBDCollaborator::isSubscribed() {
    const MutexLock lock(mutex_);
    return subscribed_;
}

APBDEntry* APBDCollaborator::find(const Key& key) {
    const auto record = records_.find(key);
    return record == records_.end() ? nullptr : &record->second;
}

// Null when there is no room.
APBDEntry* APBDCollaborator::insert(const Key& key) {
    if (records_.size() >= kMaxRecords && records_.find(key) == records_.end()) {
        if (!refusing_) {
            logger().Warning("There are records of %d stations, more are not kept\n",
                             static_cast<int>(kMaxRecords));
            refusing_ = true;
        }
        return nullptr;
    }
    return &records_[key];
}

void APBDCollaborator::post(const Key& key, Kind kind, const Entry& record,
                            const std::string& action) {
    JsonEntry request(templateOf(kind));
    if (kind == Kind::update) {
        request.insertStringValue("action", action.c_str());
    }
    insertSingleUserValue(request, record);
    if (kind == Kind::remove || kind == Kind::reset) {
        request.insertStringValue("reason", kind == Kind::reset ? kApbdForced : kApbdAwayTimeout);
    }
    outbox_.put(key, kind, request.getStringRepresentation(),
                ostrel::clock().monotonicMicroseconds());
    if (subscribed_) {
        flush();
    }
}

void APBDCollaborator::flush() {
    const std::int64_t now = ostrel::clock().monotonicMicroseconds();
    outbox_.flush([this, now](Kind kind, const std::string& text, std::int64_t madeAt) {
        const bool waited = now - madeAt > 1000000;
        const std::string request = waited ? agedRequest(text, madeAt) : text;
        logRequest(kind, request.c_str());
        return ipc_->send(request, IPC_MODULE_APBD);
    });
}

void APBDCollaborator::refresh(APBDEntry& entry, MessageEntry& received) {
    const Entry stored = entry.message();
    updateLastMessage(*stored, received);
    entry.text = stored->getStringRepresentation();
    try {
        static_cast<void>(received.getIntValue(kSessionTime));
        entry.receivedAt = ostrel::clock().monotonicMicroseconds();
    } catch (ENTRY_EXCEPTION_TYPE) {
        // The stored session time goes on from where it was.
    }
}

void APBDCollaborator::insertSingleUserValue(MessageEntry& request, const Entry& record) {
    request.insertObjectValue(kUser, record);
}

void APBDCollaborator::updateLastMessage(MessageEntry& stored, MessageEntry& received) {
    for (const char* const key : {"cur-scenario-id", kSessionTime, "cur-time-limit",
                                  "cur-traffic-limit", "simultaneous-use"}) {
        try {
            stored.insertIntValue(key, received.getIntValue(key));
        } catch (ENTRY_EXCEPTION_TYPE) {
            logger().Debug("%s: update without \"%s\"\n", "updateLastMessage", key);
        }
    }
}

}  // namespace vesta
