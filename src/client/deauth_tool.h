#pragma once

// Throws stations off the air with the access point's tool: "deauth-client -i IF -a MAC", found on
// the PATH, started without a shell. Nobody waits for the tool: one thread starts and reaps it,
// kills it when it takes too long, and bounds how many run at a time. So a thousand sessions that
// end together don't stop the daemon.
//
// Threads: disconnect() from any thread, also under an instance's lock; stop() from the thread that
// ends the process.

#include <chrono>
#include <list>
#include <string>
#include <thread>
#include <vector>

#include "core/mutex.h"
#include "ostrel/runtime.h"

namespace vesta {

class DeauthTool {
public:
    static constexpr std::size_t kMaxRunning = 16;
    static constexpr std::size_t kMaxWaiting = 16384;

    // `bound` is how long one run may take before it is killed, `patience` how long an order may
    // wait: who is thrown off later than that may have come back.
    explicit DeauthTool(std::chrono::milliseconds bound = std::chrono::seconds(5),
                        std::chrono::milliseconds patience = std::chrono::seconds(10));
    ~DeauthTool() { stop(); }
    DeauthTool(const DeauthTool&) = delete;
    DeauthTool& operator=(const DeauthTool&) = delete;

    // Has the station thrown off, at once when less than kMaxRunning are under way. Beyond
    // kMaxWaiting the order is dropped with a warning.
    void disconnect(const std::string& interfaceName, const std::string& mac) EXCLUDES(mutex_);
    // Takes the station's waiting orders back.
    void withdraw(const std::string& interfaceName, const std::string& mac) EXCLUDES(mutex_);
    // Ends the thread: what runs is killed, what waits is dropped, and so is what comes later.
    void stop() EXCLUDES(mutex_);

private:
    // The real steady clock: the time that a test sets does not slow down another process.
    using Time = std::chrono::steady_clock::time_point;

    struct Order {
        std::string interfaceName;
        std::string mac;
        Time lastStart;
    };
    struct Run {
        int pid;
        ostrel::Fd exit;  // readable once the process has ended; invalid on old kernels
        Time deadline;    // Time::max() once it has been killed
        std::string mac;
    };

    // Null when the order was taken, else why not.
    const char* enqueue(Order order) REQUIRES(mutex_);
    void wake() const;

    // On the thread:
    void work();
    // False when it is time to end.
    bool startWaiting() EXCLUDES(mutex_);
    void start(Order order);
    // Says so, unless the last start failed too.
    void fail(const std::string& mac, int error);
    void waitForEvent();
    void reap();
    void endAll();

    const std::chrono::milliseconds bound_;
    const std::chrono::milliseconds patience_;
    const ostrel::Fd wake_;  // readable when there is an order, or the end

    Mutex mutex_;
    std::list<Order> waiting_ GUARDED_BY(mutex_);
    bool stopped_ GUARDED_BY(mutex_) = false;
    bool refusing_ GUARDED_BY(mutex_) = false;
    std::thread thread_ GUARDED_BY(mutex_);

    // The thread's own.
    std::vector<Run> running_;
    bool failing_ = false;
};

}  // namespace vesta
