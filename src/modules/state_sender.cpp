#include "modules/state_sender.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "core/logger.h"
#include "ostrel/clock.h"

namespace vesta {
namespace {

constexpr std::int64_t kFirstPause = 100000;
constexpr std::int64_t kLongestPause = 5000000;
constexpr std::int64_t kLookPeriod = 1000000;
constexpr std::int64_t kFarewell = 1000000;
// More ends than this wait for a module only while stations come and go in front of one that hangs.
constexpr std::size_t kMostItems = 131072;

std::int64_t now() {
    return ostrel::clock().monotonicMicroseconds();
}

using Size = std::uint32_t;

Size sizeAt(const std::string& state, std::size_t offset) {
    Size size = 0;
    std::memcpy(&size, state.data() + offset, sizeof size);
    return size;
}

}  // namespace

std::atomic<int> StateSender::busySenders_{0};

StateSender::StateSender(const char* name) : pause_(kFirstPause) {
    name_ = name;
}

StateSender::~StateSender() {
    busySenders_ -= busy_ ? 1 : 0;
}

void StateSender::addRequest(std::string& state, const std::string& request) {
    const Size size = static_cast<Size>(request.size());
    state.append(reinterpret_cast<const char*>(&size), sizeof size);
    state += request;
}

void StateSender::want(Group group, const std::string& key, std::string state, Kind kind) {
    const MutexLock lock(mutex_);
    Things& all = things(group);
    if (kind != Kind::lasting && all.items.size() >= kMostItems && all.items.count(key) == 0) {
        return;
    }
    Item& item = all.items[key];
    item.state = std::move(state);
    item.state.shrink_to_fit();  // it stays as long as the station
    item.taken = 0;
    item.kind = kind;
    queue(all, key, item);
    noteBusy();
}

bool StateSender::knows(Group group, const std::string& key) const {
    const MutexLock lock(mutex_);
    const Things& all = groups_[static_cast<std::size_t>(group)];
    const auto found = all.items.find(key);
    return found != all.items.end() && found->second.kind != Kind::attempt;
}

std::size_t StateSender::count(Group group) const {
    const MutexLock lock(mutex_);
    return groups_[static_cast<std::size_t>(group)].items.size();
}

bool StateSender::isQuiet() const {
    const MutexLock lock(mutex_);
    return !isDue() && !telling_;
}

void StateSender::emptyFirst(Group group, const std::string& request) {
    const MutexLock lock(mutex_);
    Item& emptying = things(group).emptying;
    emptying.state.clear();
    addRequest(emptying.state, request);
    emptying.queued = true;
    changed_.notifyOne();
    noteBusy();
}

void StateSender::tellAgain(Group group) {
    const MutexLock lock(mutex_);
    queueAll(things(group), false);
    noteBusy();
}

void StateSender::forget(Group group, const std::string& key) {
    const MutexLock lock(mutex_);
    Things& all = things(group);
    const auto found = all.items.find(key);
    if (found != all.items.end()) {
        release(found->second);
        all.queue.remove(key);
        all.items.erase(found);
    }
}

void StateSender::forgetAll(Group group) {
    const MutexLock lock(mutex_);
    Things& all = things(group);
    for (auto& item : all.items) {
        release(item.second);
    }
    all.queue.clear();
    all.items.clear();
}

void StateSender::stop() {
    EventListener::stop();
    const MutexLock lock(mutex_);
    changed_.notifyOne();
}

void StateSender::start() {
    while (running()) {
        pass();
    }
    const auto hasMore = [this] {
        const MutexLock lock(mutex_);
        return isDue();
    };
    for (const std::int64_t end = now() + kFarewell; now() < end && hasMore();) {
        pass();
    }
}

bool StateSender::handle() {
    if (!await()) {
        return true;
    }
    Sending sending;
    if (take(sending)) {
        settle(sending, tellAll(sending));
    }
    return true;
}

// Waits until something is due or the time for a look has come. False when neither is so yet.
bool StateSender::await() {
    bool look = false;
    {
        const MutexLock lock(mutex_);
        const std::int64_t time = now();
        if (retryAt_ != 0 && time >= retryAt_) {
            retryAt_ = 0;
            pause_ = std::min(2 * pause_, kLongestPause);
            for (Things& all : groups_) {
                queueAll(all, true);
            }
        }
        look = time >= nextLook_;
        if (look) {
            nextLook_ = time + kLookPeriod;
            waiting_ = false;
        } else if (!isDue()) {
            if (running()) {
                const std::int64_t soonest =
                    retryAt_ == 0 ? nextLook_ : std::min(retryAt_, nextLook_);
                changed_.waitFor(mutex_, std::chrono::microseconds(soonest - time));
            }
            return false;
        }
        noteBusy();
    }
    attend(look);
    return true;
}

bool StateSender::take(Sending& sending) {
    const MutexLock lock(mutex_);
    if (!isDue()) {
        return false;
    }
    // The module is emptied before it is told anything.
    for (const Group group : {Group::second, Group::first}) {
        Item& emptying = things(group).emptying;
        if (emptying.queued) {
            emptying.queued = false;
            telling_ = true;
            sending = {group, "", emptying};
            return true;
        }
    }
    const Group group = things(Group::first).queue.empty() ? Group::second : Group::first;
    Things& all = things(group);
    Item& item = all.items.at(all.queue.front());
    item.queued = false;
    telling_ = true;
    sending = {group, std::move(all.queue.front()), item};
    all.queue.pop_front();
    return true;
}

StateSender::Answer StateSender::tellAll(Sending& sending) {
    const std::string& state = sending.item.state;
    std::size_t& taken = sending.item.taken;
    bool resumed = taken > 0;
    while (taken < state.size()) {
        const Size size = sizeAt(state, taken);
        const Answer answer = tell(state.substr(taken + sizeof size, size), state, resumed);
        const bool attempted = answer == Answer::refused && sending.item.kind == Kind::attempt;
        if (answer != Answer::taken && !attempted) {
            return answer;
        }
        taken += sizeof size + size;
        resumed = false;
    }
    return Answer::taken;
}

StateSender::Item* StateSender::find(const Sending& sending) {
    Things& all = things(sending.group);
    if (sending.key.empty()) {
        return &all.emptying;
    }
    const auto found = all.items.find(sending.key);
    return found != all.items.end() ? &found->second : nullptr;
}

void StateSender::settle(const Sending& sending, Answer answer) {
    const char* const reason = std::strerror(errno);
    const MutexLock lock(mutex_);
    telling_ = false;
    Things& all = things(sending.group);
    Item* const item = find(sending);
    // Nobody wanted anything else meanwhile.
    const bool current = item != nullptr && !item->queued;
    if (answer == Answer::taken) {
        if (current) {
            release(*item);
        }
        if (sending.key.empty()) {
            queueAll(all, false);
        } else if (current && item->kind != Kind::lasting) {
            all.items.erase(sending.key);
        }
    } else if (answer == Answer::refused) {
        if (current) {
            item->taken = sending.item.taken;
            refuse(*item, reason);
        }
    } else {
        waiting_ = true;
        if (current && sending.key.empty()) {
            item->queued = true;
        } else if (current) {
            item->queued = true;
            item->taken = answer == Answer::silent ? sending.item.taken : 0;
            all.queue.push_front(sending.key);
        }
        if (answer == Answer::absent) {
            dropEnds();
        }
    }
    noteBusy();
}

// A module that is not there has nothing that must be ended.
void StateSender::dropEnds() {
    for (Things& all : groups_) {
        const std::size_t before = all.items.size();
        for (auto entry = all.items.begin(); entry != all.items.end();) {
            if (entry->second.kind == Kind::lasting) {
                ++entry;
            } else {
                release(entry->second);
                entry = all.items.erase(entry);
            }
        }
        if (all.items.size() != before) {
            all.queue.remove_if([&all](const auto& key) { return all.items.count(key) == 0; });
        }
    }
}

void StateSender::refuse(Item& item, const char* reason) {
    if (!item.refused && refused_++ == 0) {
        logger().Warning(
            "%s: the module refuses a request: %s; it is made again until it is taken\n",
            name_.c_str(), reason);
    }
    item.refused = true;
    if (retryAt_ == 0) {
        retryAt_ = now() + pause_;
    }
}

// The module has the item, or shall not have it any more.
void StateSender::release(Item& item) {
    item.taken = 0;
    if (item.refused && --refused_ == 0) {
        pause_ = kFirstPause;
        retryAt_ = 0;
        logger().Warning("%s: the module refuses nothing any more\n", name_.c_str());
    }
    item.refused = false;
}

void StateSender::queue(Things& things, const std::string& key, Item& item) {
    if (!item.queued) {
        item.queued = true;
        things.queue.push_back(key);
        changed_.notifyOne();
    }
}

void StateSender::queueAll(Things& things, bool refusedOnly) {
    if (refusedOnly && things.emptying.refused) {
        things.emptying.queued = true;
    }
    for (auto& [key, item] : things.items) {
        if (!refusedOnly) {
            item.taken = 0;
        }
        if (!refusedOnly || item.refused) {
            queue(things, key, item);
        }
    }
}

bool StateSender::isDue() const {
    if (waiting_) {
        return false;
    }
    return std::any_of(groups_.begin(), groups_.end(),
                       [](const Things& all) { return all.emptying.queued || !all.queue.empty(); });
}

void StateSender::noteBusy() {
    const bool busy = isDue() || telling_;
    if (busy != busy_) {
        busy_ = busy;
        busySenders_ += busy ? 1 : -1;
    }
}

}  // namespace vesta
