#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "daemon_test.h"

namespace vesta::testing {
namespace {

// Keeps the daemon within the logger's lock for most of the time, from its construction to its
// destruction: a short message that leaves three debug records, as fast as the bus takes it.
class Flood {
public:
    Flood() : thread_([this] { run(); }) {}
    ~Flood() {
        ending_ = true;
        thread_.join();
    }
    Flood(const Flood&) = delete;
    Flood& operator=(const Flood&) = delete;

private:
    void run() {
        IpcInterface bus(IPC_MODULE_APBD, true, 0);
        while (!ending_) {
            if (!bus.send(std::string(R"({"command": "subscribe-response"})"), IPC_MODULE_VESTAD)) {
                std::this_thread::yield();
            }
        }
    }

    std::atomic<bool> ending_{false};
    std::thread thread_;
};

class SignalsTest : public DaemonTest {
protected:
    void expectOrderlyEnd() {
        EXPECT_EQ(daemon_.waitForEnd(), 0);
        EXPECT_FALSE(std::filesystem::exists(pidFile()));
    }
    // Until the log has grown so much that the flood is under way.
    void waitForLog() {
        while (std::filesystem::file_size(logFile()) < 300000) {
            std::this_thread::yield();
        }
    }
    void signalThread(pid_t thread, int signal) {
        syscall(SYS_tgkill, daemon_.pid(), thread, signal);
    }
};

TEST_F(SignalsTest, EachOfTheThreeIsAnOrderlyEnd) {
    for (const int signal : {SIGTERM, SIGABRT, SIGSEGV}) {
        SCOPED_TRACE(signal);
        std::filesystem::remove(logFile());
        serve(config(2));
        kill(daemon_.pid(), signal);
        expectOrderlyEnd();
        EXPECT_THAT(logged("signal"), ::testing::ElementsAre("|WARNING|Receive kill signal " +
                                                             std::to_string(signal)));
    }
}

TEST_F(SignalsTest, NothingIsLoggedWhereWarningsAreOff) {
    serve(config(5));
    kill(daemon_.pid(), SIGTERM);
    expectOrderlyEnd();
    EXPECT_TRUE(logged("signal").empty());
}

TEST_F(SignalsTest, AFaultInAnyThreadEndsTheDaemonWhileItLogsAtFullSpeed) {
    for (std::size_t index = 0, count = 1; index < 2 * count && !HasFailure(); ++index) {
        SCOPED_TRACE(index);
        std::filesystem::remove(logFile());
        serve(config(7));
        const std::vector<pid_t> threads = threadsOf(daemon_.pid());
        count = threads.size();
        const Flood flood;
        waitForLog();
        signalThread(threads[index % count], SIGSEGV);
        expectOrderlyEnd();
        EXPECT_EQ(logged("Receive kill signal 11").size(), 1U);
    }
}

TEST_F(SignalsTest, SignalsThatComeTogetherEndItOnce) {
    for (int round = 0; round < 5 && !HasFailure(); ++round) {
        std::filesystem::remove(logFile());
        serve(config(7));
        const std::vector<pid_t> threads = threadsOf(daemon_.pid());
        const Flood flood;
        waitForLog();
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
