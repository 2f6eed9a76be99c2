#include "core/event_listener.h"

#include <exception>

#include "core/logger.h"

namespace vesta {
namespace {

constexpr int kPeriodMicroseconds = 100000;

}  // namespace

void Threaded::join() {
    if (started_ && thread_.joinable()) {
        thread_.join();
    }
}

EventListener::EventListener() : LoopWorker("unnamed", kPeriodMicroseconds) {}

bool EventListener::run() {
    logger().Debug("Run called (%s)\n", name_.c_str());
    if (started_) {
        return started_;
    }
    thread_ = std::thread([this] {
        // Passes are guarded already; this is for a start() of a subclass.
        try {
            start();
        } catch (const std::exception& failure) {
            logger().Error("%s: thread ended: %s\n", name_.c_str(), failure.what());
        } catch (...) {
            logger().Error("%s: thread ended: %s\n", name_.c_str(), "no standard exception");
        }
    });
    started_ = true;
    return started_;
}

}  // namespace vesta
