#include "calls.h"

#include <algorithm>
#include <chrono>
#include <exception>

#include "free_memory.h"
#include "ostrel/clock.h"
#include "ostrel/runtime.h"

namespace ostrel::bus {
namespace {

constexpr std::uint32_t kLargestNumber = 0x7fffffff;  // fits every JSON library's integer

void callBack(const Calls::Callback& callback, json_object* response, void* user, int status) {
    try {
        callback(response, user, status);
    } catch (const std::exception& problem) {
        report(LogLevel::error, "bus: a response callback failed: %s", problem.what());
    } catch (...) {
        report(LogLevel::error, "bus: a response callback failed");
    }
}

// Further frames of the same answer follow.
bool announcesMore(json_object* answer) {
    json_object* more = nullptr;
    return json_object_object_get_ex(answer, "more", &more) != 0 &&
           json_object_is_type(more, json_type_boolean) != 0 && json_object_get_boolean(more) != 0;
}

bool contextOf(json_object* answer, std::uint32_t& number) {
    json_object* context = nullptr;
    if (json_object_object_get_ex(answer, "context", &context) == 0 ||
        json_object_get_type(context) != json_type_int) {
        return false;
    }
    const std::int64_t value = json_object_get_int64(context);
    number = static_cast<std::uint32_t>(value);
    return value > 0 && value <= kLargestNumber;
}

}  // namespace

// The numbers begin anywhere, so that a late answer to an earlier process of this module does not
// match a call of ours.
Calls::Calls(Inbox& inbox)
    : inbox_(inbox),
      lastNumber_(static_cast<std::uint32_t>(clock().monotonicMicroseconds()) & kLargestNumber),
      thread_([this] { run(); }) {}

Calls::~Calls() {
    stop();
}

std::uint32_t Calls::open(std::uint32_t module, void* user, Callback callback, int timeoutSeconds) {
    const std::int64_t deadline =
        clock().monotonicMicroseconds() + std::int64_t{1000000} * std::max(timeoutSeconds, 0);
    MutexLock lock(mutex_);
    do {
        lastNumber_ = lastNumber_ >= kLargestNumber ? 1 : lastNumber_ + 1;
    } while (open_.count(lastNumber_) != 0);
    open_[lastNumber_] = Call{module, user, std::move(callback), deadline};
    deadlines_.emplace(deadline, lastNumber_);
    ++attention_[module];
    changed_.notifyOne();
    return lastNumber_;
}

bool Calls::withdraw(std::uint32_t number) {
    MutexLock lock(mutex_);
    if (open_.count(number) == 0) {
        return false;
    }
    take(number);
    return true;
}

void Calls::accept(Arrival arrival) {
    {
        MutexLock lock(mutex_);
        const auto asked = attention_.find(arrival.frame.sender);
        if (asked != attention_.end()) {
            ++asked->second;
            waiting_.push_back(std::move(arrival));
            changed_.notifyOne();
            return;
        }
    }
    inbox_.push(std::move(arrival));
}

void Calls::stop() {
    {
        MutexLock lock(mutex_);
        stopped_ = true;
        changed_.notifyOne();
    }
    if (thread_.joinable()) {
        thread_.join();
    }
}

void Calls::run() {
    Work work;
    while (next(work)) {
        for (const Call& call : work.expired) {
            callBack(call.callback, nullptr, call.user, -1);
        }
        const bool isLarge = work.arrival.frame.payload.size() >= kLargePayload;
        if (work.arrival.from != nullptr) {
            deliver(std::move(work.arrival));
        }
        work = Work{};
        if (isLarge) {
            releaseFreeMemory();
        }
    }
}

// Waits for something to do; false at the end. Arrivals come before expired calls: an answer that
// came in time counts, however long the callbacks before it took.
bool Calls::next(Work& work) {
    MutexLock lock(mutex_);
    while (!stopped_) {
        if (!waiting_.empty()) {
            work.arrival = std::move(waiting_.front());
            waiting_.pop_front();
            return true;
        }
        takeExpired(work.expired);
        if (!work.expired.empty()) {
            return true;
        }
        if (deadlines_.empty()) {
            changed_.wait(mutex_);
        } else {
            const std::int64_t left = deadlines_.begin()->first - clock().monotonicMicroseconds();
            changed_.waitFor(mutex_, std::chrono::microseconds(std::max<std::int64_t>(left, 0)));
        }
    }
    return false;
}

void Calls::deliver(Arrival arrival) {
    const std::uint32_t module = arrival.frame.sender;
    Json node;
    Call call;
    if (arrival.from->condemned()) {
        // Nothing after an unreadable frame is handled.
    } else if (reader_.read(arrival.frame.payload, node) == JsonReader::Kind::notJson) {
        condemnForGarbage(arrival);
    } else if (const bool more = announcesMore(node.get());
               node != nullptr && answered(module, node.get(), !more, call)) {
        callBack(call.callback, node.get(), call.user, more ? IPC_MORE_FOLLOWS : 0);
    } else {
        inbox_.push(std::move(arrival));
    }
    MutexLock lock(mutex_);
    ignore(module);
}

bool Calls::answered(std::uint32_t module, json_object* answer, bool isLast, Call& call) {
    std::uint32_t number = 0;
    if (!contextOf(answer, number)) {
        return false;
    }
    MutexLock lock(mutex_);
    const auto found = open_.find(number);
    if (found == open_.end() || found->second.module != module) {
        return false;
    }
    call = isLast ? take(number) : found->second;
    return true;
}

void Calls::takeExpired(std::vector<Call>& expired) {
    const std::int64_t now = clock().monotonicMicroseconds();
    while (!deadlines_.empty() && deadlines_.begin()->first <= now) {
        expired.push_back(take(deadlines_.begin()->second));
    }
}

Calls::Call Calls::take(std::uint32_t number) {
    const auto found = open_.find(number);
    Call call = std::move(found->second);
    open_.erase(found);
    deadlines_.erase({call.deadline, number});
    ignore(call.module);
    return call;
}

void Calls::ignore(std::uint32_t module) {
    const auto found = attention_.find(module);
    if (--found->second == 0) {
        attention_.erase(found);
    }
}

}  // namespace ostrel::bus
