#include <gtest/gtest.h>
#include <sys/time.h>

#include <chrono>
#include <csignal>
#include <stdexcept>

#include "core/event_listener.h"
#include "core/temporary_log.h"

namespace vesta {
namespace {

constexpr int kPeriodMicroseconds = 5000;

// Fails in two passes and ends itself in the third.
class Worker : public EventListener {
public:
    Worker() {
        name_ = "worker";
        period_ = kPeriodMicroseconds;
    }
    bool handle() override {
        switch (++passes_) {
            case 1:
                throw std::runtime_error("no memory");
            case 2:
                throw ENTRY_NOT_FOUND;
            default:
                stop();
                return true;
        }
    }
    [[nodiscard]] int passes() const { return passes_; }

private:
    int passes_ = 0;
};

TEST(LoopWorker, SleepsItsPeriodAfterEveryPassThroughSignals) {
    struct sigaction ignore {};
    struct sigaction before {};
    ignore.sa_handler = [](int) {};
    sigaction(SIGALRM, &ignore, &before);
    const itimerval often{{0, 500}, {0, 500}};
    setitimer(ITIMER_REAL, &often, nullptr);

    Worker worker;
    const auto begin = std::chrono::steady_clock::now();
    worker.start();
    const auto taken = std::chrono::steady_clock::now() - begin;

    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before, nullptr);
    EXPECT_EQ(worker.passes(), 3);
    EXPECT_GE(taken, std::chrono::microseconds(3 * kPeriodMicroseconds));
}

TEST(LoopWorker, AStopBeforeTheStartIsNotLost) {
    Worker worker;
    worker.stop();
    worker.start();
    EXPECT_EQ(worker.passes(), 0);
}

TEST(EventListener, RunsOneThreadOnceThatOutlivesFailedPasses) {
    const TemporaryLog log(7);
    Worker worker;
    worker.join();
    EXPECT_TRUE(worker.run());
    worker.join();
    EXPECT_TRUE(worker.run());
    worker.join();
    EXPECT_EQ(worker.passes(), 3);
    EXPECT_EQ(
        log.records(),
        (TemporaryLog::Records{
            "|DEBUG|Run called (worker)", "|DEBUG|Spawn event listener worker (worker)",
            "|ERROR|worker: pass failed: no memory",
            "|ERROR|worker: pass failed: no standard exception", "|DEBUG|Run called (worker)"}));
}

}  // namespace
}  // namespace vesta
