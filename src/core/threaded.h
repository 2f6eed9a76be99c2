#pragma once

// Owner of one thread. run() and join() are called by one thread at a time; whoever runs a worker
// joins it before destroying it.

#include <thread>

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

}  // namespace vesta
