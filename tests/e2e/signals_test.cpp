#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "daemon_process.h"

namespace vesta::testing {
namespace {

// Keeps the daemon answering, and so logging, from its construction to its destruction.
class Flood {
public:
    explicit Flood(apsim::PortalClient& portal) : thread_([this, &portal] { run(portal); }) {}
    ~Flood() {
        ending_ = true;
        thread_.join();
    }
    Flood(const Flood&) = delete;
    Flood& operator=(const Flood&) = delete;

private:
    void run(apsim::PortalClient& portal) {
        while (!ending_) {
            portal.requestLater({{"command", "get"}}, [](const auto&) {});
        }
    }

    std::atomic<bool> ending_{false};
    std::thread thread_;
};

class SignalsTest : public DaemonTest {
protected:
    void expectOrderlyEnd() {
        EXPECT_EQ(daemon_->waitForEnd(), "exit 0");
        EXPECT_FALSE(std::filesystem::exists(pidFile()));
    }
    void signalThread(pid_t thread, int signal) {
        syscall(SYS_tgkill, daemon_->pid(), thread, signal);
    }
};

TEST_F(SignalsTest, EachOfTheThreeIsAnOrderlyEnd) {
    for (const int signal : {SIGTERM, SIGABRT, SIGSEGV}) {
        SCOPED_TRACE(signal);
        std::filesystem::remove(logFile());
        serve(config(2));
        kill(daemon_->pid(), signal);
        expectOrderlyEnd();
        EXPECT_THAT(logged("signal"), ::testing::ElementsAre("|WARNING|Receive kill signal " +
                                                             std::to_string(signal)));
    }
}

TEST_F(SignalsTest, NothingIsLoggedWhereWarningsAreOff) {
    serve(config(5));
    kill(daemon_->pid(), SIGTERM);
    expectOrderlyEnd();
    EXPECT_TRUE(logged("signal").empty());
}

TEST_F(SignalsTest, AFaultInAnyThreadEndsTheDaemonWhileItLogsAtFullSpeed) {
    for (std::size_t index = 0, count = 1; index < count; ++index) {
        SCOPED_TRACE(index);
        std::filesystem::remove(logFile());
        serve(config(7));
        const std::vector<pid_t> threads = daemon_->threads();
        count = threads.size();
        const Flood flood(accessPoint_->portal());
        // Under way: what it logs now is what it logs at full speed.
        ASSERT_TRUE(accessPoint_->portal().status());
        signalThread(threads[std::min(index, count - 1)], SIGSEGV);
        expectOrderlyEnd();
        EXPECT_EQ(logged("Receive kill signal 11").size(), 1U);
    }
}

TEST_F(SignalsTest, SignalsThatComeTogetherEndItOnce) {
    for (int round = 0; round < 5; ++round) {
        std::filesystem::remove(logFile());
        serve(config(7));
        const std::vector<pid_t> threads = daemon_->threads();
        const Flood flood(accessPoint_->portal());
        for (std::size_t i = 0; i < threads.size(); ++i) {
            const int signals[] = {SIGSEGV, SIGTERM, SIGABRT};
            signalThread(threads[i], signals[i % 3]);
        }
        expectOrderlyEnd();
        EXPECT_EQ(logged("Receive kill signal").size(), 1U);
    }
}

}  // namespace
}  // namespace vesta::testing
