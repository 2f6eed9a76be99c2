#include "core/loop_worker.h"

#include <cerrno>
#include <ctime>
#include <exception>

#include "core/logger.h"

namespace vesta {

LoopWorker::LoopWorker(const std::string& name, int periodMicroseconds)
    : period_(periodMicroseconds), name_(name) {}

void LoopWorker::start() {
    loop();
}

void LoopWorker::stop() {
    stopped_.store(true, std::memory_order_relaxed);
}

void LoopWorker::loop() {
    logger().Debug("Spawn event listener worker (%s)\n", name_.c_str());
    while (running()) {
        pass();
        sleepPeriod();
    }
}

bool LoopWorker::guarded(const std::function<bool()>& work) const {
    try {
        return work();
    } catch (const std::exception& failure) {
        logger().Error("%s: pass failed: %s\n", name_.c_str(), failure.what());
    } catch (...) {
        logger().Error("%s: pass failed: %s\n", name_.c_str(), "no standard exception");
    }
    return false;
}

void LoopWorker::sleepPeriod() {
    timespec left{};
    left.tv_sec = period_ / 1000000;
    left.tv_nsec = (period_ % 1000000) * 1000;
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

}  // namespace vesta
