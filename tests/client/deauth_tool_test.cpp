#include "client/deauth_tool.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <iterator>
#include <set>
#include <thread>

#include "core/temporary_log.h"
#include "platform/support.h"

namespace vesta {
namespace {

// A directory that is the whole PATH of the tool, with a pipe into which a fake tool writes.
class DeauthToolTest : public ::testing::Test {
protected:
    DeauthToolTest() {
        setenv("PATH", directory_.path().c_str(), 1);
        EXPECT_EQ(mkfifo(pipePath().c_str(), 0600), 0);
        // Both ways, so that neither side ever waits for the other or sees an end.
        pipe_.reset(open(pipePath().c_str(), O_RDWR | O_CLOEXEC));
    }
    ~DeauthToolTest() override { setenv("PATH", path_.c_str(), 1); }

    [[nodiscard]] std::string pipePath() const { return directory_.path("pipe"); }

    // `body` is shell script; "$PIPE" is the pipe.
    void installTool(const std::string& body) const {
        const std::string tool = directory_.path("deauth-client");
        ostrel::testing::writeFile(tool, "#!/bin/sh\nPIPE=" + pipePath() + "\n" + body + "\n");
        chmod(tool.c_str(), 0700);
    }

    // The next line that a tool writes; "" when none comes in good time.
    [[nodiscard]] std::string readLine() const {
        std::string line;
        for (char c = 0; waitForInput(10000) && read(pipe_.get(), &c, 1) == 1 && c != '\n';) {
            line += c;
        }
        return line;
    }
    [[nodiscard]] bool waitForInput(int milliseconds) const {
        pollfd event = {pipe_.get(), POLLIN, 0};
        return poll(&event, 1, milliseconds) == 1;
    }

    static std::ptrdiff_t openDescriptors() {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }

    std::string path_ = getenv("PATH");
    ostrel::testing::TempDirectory directory_;
    ostrel::Fd pipe_;
};

TEST_F(DeauthToolTest, CallsTheToolForEachStationPastAnyShell) {
    installTool(R"(echo "$@" > $PIPE)");
    DeauthTool tool;
    const auto before = openDescriptors();
    constexpr int kStations = 50;
    std::multiset<std::string> expected;
    for (int i = 0; i < kStations; ++i) {
        tool.disconnect("wlan0; echo `id` $PIPE" + std::to_string(i), "0a:1b:2c:3d:4e:5f");
        expected.insert("-i wlan0; echo `id` $PIPE" + std::to_string(i) + " -a 0a:1b:2c:3d:4e:5f");
    }
    std::multiset<std::string> calls;
    for (int i = 0; i < kStations; ++i) {
        calls.insert(readLine());
    }
    EXPECT_EQ(calls, expected);
    tool.stop();
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(DeauthToolTest, StartsTheToolWithFreshSignals) {
    installTool(
        "while read name set; do\n"
        "case $name in SigBlk:|SigIgn:) echo $set > $PIPE;; esac\n"
        "done < /proc/self/status");
    const auto before = signal(SIGPIPE, SIG_IGN);
    DeauthTool tool;
    tool.disconnect("wlan0", "");
    EXPECT_EQ(std::stoull(readLine(), nullptr, 16), 0U) << "blocked";
    EXPECT_EQ(std::stoull(readLine(), nullptr, 16) >> (SIGPIPE - 1) & 1U, 0U) << "ignored";
    signal(SIGPIPE, before);
}

TEST_F(DeauthToolTest, KillsAToolThatHangsWithAllThatItStarted) {
    installTool("/bin/sleep 1000 & echo $! > $PIPE; wait");
    // Long enough for a busy machine to get the script going.
    DeauthTool tool(std::chrono::seconds(1));
    tool.disconnect("wlan0", "");
    const int child = std::stoi(readLine());
    const ostrel::Fd end(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
    pollfd event = {end.get(), POLLIN, 0};
    EXPECT_TRUE(!end.valid() || poll(&event, 1, 10000) == 1);
    // The places are free again: the last one starts where an earlier one was killed.
    for (std::size_t i = 0; i <= DeauthTool::kMaxRunning; ++i) {
        tool.disconnect("wlan0", "");
    }
    for (std::size_t i = 0; i <= DeauthTool::kMaxRunning; ++i) {
        EXPECT_NE(readLine(), "");
    }
}

TEST_F(DeauthToolTest, RunsSixteenAtATimeAndLeavesNothingBehind) {
    installTool("echo $$ > $PIPE; exec /bin/sleep 1000");
    const TemporaryLog log(Logger::kWarningBit);
    DeauthTool tool(std::chrono::minutes(1));
    const auto order = [&](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            tool.disconnect("wlan0", "");
        }
    };
    order(DeauthTool::kMaxRunning);
    std::vector<int> started;
    for (std::size_t i = 0; i < DeauthTool::kMaxRunning; ++i) {
        started.push_back(std::stoi(readLine()));
    }
    order(DeauthTool::kMaxWaiting);
    EXPECT_EQ(log.records().size(), 0U);
    tool.disconnect("wlan0", "");
    EXPECT_EQ(log.records().size(), 1U) << "too many were taken";
    tool.stop();
    EXPECT_FALSE(waitForInput(0)) << "a seventeenth was started";
    for (const int pid : started) {
        EXPECT_EQ(kill(pid, 0), -1) << pid;
    }
    tool.disconnect("wlan0", "");
    EXPECT_FALSE(waitForInput(0));
}

TEST_F(DeauthToolTest, LeavesTheProcessesOtherChildrenAlone) {
    installTool(R"(echo done > $PIPE)");
    const int child = fork();
    if (child == 0) {
        _exit(7);
    }
    DeauthTool tool;
    tool.disconnect("wlan0", "");
    EXPECT_EQ(readLine(), "done");
    tool.stop();
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 7);
}

TEST_F(DeauthToolTest, SaysOnceThatTheToolIsMissing) {
    const TemporaryLog log(3);
    DeauthTool tool;
    tool.disconnect("wlan0", "0a:1b:2c:3d:4e:5f");
    while (log.records().empty()) {
        std::this_thread::yield();
    }
    for (int i = 0; i < 20; ++i) {
        tool.disconnect("wlan0", "0a:1b:2c:3d:4e:5f");
    }
    installTool(R"(echo $2 > $PIPE)");
    tool.disconnect("last", "0a:1b:2c:3d:4e:5f");
    std::string line;
    do {
        line = readLine();
    } while (line == "wlan0");
    EXPECT_EQ(line, "last");
    EXPECT_EQ(log.records(),
              TemporaryLog::Records{"|ERROR|disconnect: can't start deauth-client for client "
                                    "0a:1b:2c:3d:4e:5f: No such file or directory"});
}

}  // namespace
}  // namespace vesta
