#pragma once

// A LoopWorker on a thread of its own: run() starts it, stop() and join() end it.

#include "core/loop_worker.h"
#include "core/threaded.h"

namespace vesta {

class EventListener : public LoopWorker, public Threaded {
public:
    // "unnamed", 100 ms; subclasses give their own name.
    EventListener();

    bool run() override;
};

}  // namespace vesta
