#pragma once

// Periodic work: start() calls handle() and sleeps for the period, in turn, on the calling thread,
// until stop(). Any thread may call stop(); the loop ends after the pass under way and its sleep. A
// worker runs once: after a stop() before the start, the loop ends without a pass.

#include <atomic>
#include <functional>
#include <string>

namespace vesta {

class LoopWorker {
public:
    LoopWorker(const std::string& name, int periodMicroseconds);

    virtual bool handle() = 0;
    virtual void start();
    virtual void stop();
    virtual ~LoopWorker() = default;
    LoopWorker(const LoopWorker&) = delete;
    LoopWorker& operator=(const LoopWorker&) = delete;

protected:
    void loop();
    // Calls handle() and returns its result. An exception is logged and gives false. For a start()
    // with a loop of its own.
    bool pass() {
        return guarded([this] { return handle(); });
    }
    // The same for other work on the loop's thread.
    bool guarded(const std::function<bool()>& work) const;
    // Lets the period pass; a signal handler that returns does not cut it short.
    virtual void sleepPeriod();
    // False from stop() on.
    [[nodiscard]] bool running() const { return !stopped_.load(std::memory_order_relaxed); }

    int period_;  // microseconds
    std::string name_;

private:
    std::atomic<bool> stopped_{false};
};

}  // namespace vesta
