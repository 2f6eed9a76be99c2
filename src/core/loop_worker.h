#pragma once

// Periodic work: handle(), sleep for the period, again, until stop(). start() runs the loop on the
// calling thread; stop() may be called from any thread and takes effect after the pass and its
// sleep.

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
    // Sleeps for the period; a signal handler that returns does not cut it short.
    void sleepPeriod() const;
    [[nodiscard]] bool running() const { return running_.load(std::memory_order_relaxed) != 0; }

    int period_;  // microseconds
    std::string name_;

private:
    std::atomic<int> running_{0};
};

}  // namespace vesta
