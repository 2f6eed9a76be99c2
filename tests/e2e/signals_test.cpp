#include <atomic>
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
    void serveAt(int level) {
        std::filesystem::remove(logFile());
        serve(config(level));
    }
    void expectOrderlyEnd() {
        EXPECT_EQ(daemon_.waitForEnd(), 0);
        EXPECT_FALSE(std::filesystem::exists(pidFile()));
    }
    // Sends each signal to the thread beside it while the daemon logs at full speed.
    void signalUnderFlood(const std::vector<std::pair<pid_t, int>>& signals) {
        const Flood flood;
        while (std::filesystem::file_size(logFile()) < 300000) {
            std::this_thread::yield();
        }
        for (const auto& [thread, signal] : signals) {
            syscall(SYS_tgkill, daemon_.pid(), thread, signal);
        }
        expectOrderlyEnd();
    }
};

TEST_F(SignalsTest, EachOfTheThreeIsAnOrderlyEnd) {
    constexpr int kWarning = 2;
    constexpr int kWithoutWarnings = 5;
    for (const auto& [signal, level] :
         {std::pair(SIGTERM, kWarning), std::pair(SIGABRT, kWarning), std::pair(SIGSEGV, kWarning),
          std::pair(SIGTERM, kWithoutWarnings)}) {
        SCOPED_TRACE(signal);
        serveAt(level);
        kill(daemon_.pid(), signal);
        expectOrderlyEnd();
        const std::string line = "|WARNING|Receive kill signal " + std::to_string(signal);
        EXPECT_EQ(logged("signal"), std::vector<std::string>(level == kWarning ? 1 : 0, line));
    }
}

TEST_F(SignalsTest, AFaultInAnyThreadEndsTheDaemonWhileItLogsAtFullSpeed) {
    for (std::size_t index = 0, count = 1; index < 2 * count && !HasFailure(); ++index) {
        SCOPED_TRACE(index);
        serveAt(7);
        const std::vector<pid_t> threads = threadsOf(daemon_.pid());
        count = threads.size();
        signalUnderFlood({{threads[index % count], SIGSEGV}});
        EXPECT_EQ(logged("Receive kill signal 11").size(), 1U);
    }
}

TEST_F(SignalsTest, SignalsThatComeTogetherEndItOnce) {
    for (int round = 0; round < 5 && !HasFailure(); ++round) {
        serveAt(7);
        std::vector<std::pair<pid_t, int>> signals;
        for (const pid_t thread : threadsOf(daemon_.pid())) {
            const int three[] = {SIGSEGV, SIGTERM, SIGABRT};
            signals.emplace_back(thread, three[signals.size() % 3]);
        }
        signalUnderFlood(signals);
        EXPECT_EQ(logged("Receive kill signal").size(), 1U);
    }
}

}  // namespace
}  // namespace vesta::testing
