#pragma once

// The outstanding calls of async_send(), and the thread that answers them. A frame from a module
// with an open call goes through this thread first. An answer ends at its callback. Any other frame
// goes on to the inbox of process(), in the order in which the module sent it.
//
// Threads: any. Callbacks run on the delivery thread with no lock held, and may open new calls.

#include <cstdint>
#include <list>
#include <map>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "connection.h"
#include "inbox.h"
#include "json_text.h"
#include "ostrel/ipc.h"
#include "ostrel/mutex.h"

namespace ostrel::bus {

class Calls {
public:
    using Callback = IpcInterface::ResponseCallback;

    // `inbox` takes the frames that answer nothing, and outlives the calls.
    explicit Calls(Inbox& inbox);
    ~Calls();
    Calls(const Calls&) = delete;
    Calls& operator=(const Calls&) = delete;

    // Opens a call to `module` and returns its number, 1 to 2^31 - 1, which no other open call has.
    [[nodiscard]] std::uint32_t open(std::uint32_t module, void* user, Callback callback,
                                     int timeoutSeconds) EXCLUDES(mutex_);

    // Withdraws a call that was not sent; its callback is never made. False when it has expired.
    [[nodiscard]] bool withdraw(std::uint32_t number) EXCLUDES(mutex_);

    // Takes a frame: to the delivery thread if its sender has an open call, else to the inbox.
    void accept(Arrival arrival) EXCLUDES(mutex_);

    // Ends the thread; calls that are still open get no callback.
    void stop() EXCLUDES(mutex_);

private:
    struct Call {
        std::uint32_t module = 0;
        void* user = nullptr;
        Callback callback;
        std::int64_t deadline = 0;  // microseconds of the monotonic clock
    };
    struct Work {
        std::vector<Call> expired;
        Arrival arrival;
    };

    void run();
    [[nodiscard]] bool next(Work& work) EXCLUDES(mutex_);
    void deliver(Arrival arrival) EXCLUDES(mutex_);
    // Finds the call that `answer` belongs to; with its last frame the call is over.
    [[nodiscard]] bool answered(std::uint32_t module, json_object* answer, bool isLast, Call& call)
        EXCLUDES(mutex_);
    void takeExpired(std::vector<Call>& expired) REQUIRES(mutex_);
    Call take(std::uint32_t number) REQUIRES(mutex_);
    void ignore(std::uint32_t module) REQUIRES(mutex_);

    Inbox& inbox_;
    JsonReader reader_;  // of the delivery thread

    Mutex mutex_;
    CondVar changed_;
    std::map<std::uint32_t, Call> open_ GUARDED_BY(mutex_);
    std::set<std::pair<std::int64_t, std::uint32_t>> deadlines_ GUARDED_BY(mutex_);
    // By module: its open calls and its frames on their way through the delivery thread.
    std::map<std::uint32_t, std::size_t> attention_ GUARDED_BY(mutex_);
    std::list<Arrival> waiting_ GUARDED_BY(mutex_);
    std::uint32_t lastNumber_ GUARDED_BY(mutex_);
    bool stopped_ GUARDED_BY(mutex_) = false;
    std::thread thread_;
};

}  // namespace ostrel::bus
