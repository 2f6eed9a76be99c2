#pragma once

// Periodic work: handle(), sleep for the period, again, until stop(). start() runs the loop on the
// calling thread; stop() may be called from any thread and takes effect after the pass and its
// sleep. A worker runs once: a stop() that comes before the start is not lost, the loop then ends
// without a pass.

#include <atomic>
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
    // One handle(): its result, or false after an exception, which is logged and ends that pass
    // alone. For a start() with a loop of its own.
    bool pass();
    // Sleeps for the period; a signal handler that returns does not cut it short.
    void sleepPeriod() const;
    // False from stop() on.
    [[nodiscard]] bool running() const { return !stopped_.load(std::memory_order_relaxed); }

    int period_;  // microseconds
    std::string name_;

private:
    std::atomic<bool> stopped_{false};
};

}  // namespace vesta
