#pragma once

// Owners of one thread. One thread at a time may call run() and join(). Whoever runs a worker joins
// it before destroying it.

#include <thread>

#include "core/loop_worker.h"

namespace vesta {

class Threaded {
public:
    Threaded() = default;
    virtual ~Threaded() = default;
    Threaded(const Threaded&) = delete;
    Threaded& operator=(const Threaded&) = delete;

    // Starts the thread; true when it runs, also when it already did.
    virtual bool run() = 0;
    // Waits for the thread's end; returns at once when it was never started.
    virtual void join();

protected:
    std::thread thread_;
    bool started_ = false;
};

// A LoopWorker on a thread of its own: run() starts it, stop() and join() end it.
class EventListener : public LoopWorker, public Threaded {
public:
    // "unnamed", 100 ms; subclasses give their own name.
    EventListener();

    bool run() override;
};

}  // namespace vesta
