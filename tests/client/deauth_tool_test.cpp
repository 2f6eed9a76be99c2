#include "client/deauth_tool.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <iterator>
#include <set>

#include "core/temporary_log.h"
#include "platform/support.h"

namespace vesta {
namespace {

constexpr const char* kMac = "0a:1b:2c:3d:4e:5f";

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
    [[nodiscard]] std::multiset<std::string> readLines(std::size_t count) const {
        std::multiset<std::string> lines;
        while (lines.size() < count) {
            lines.insert(readLine());
        }
        return lines;
    }
    [[nodiscard]] bool waitForInput(int milliseconds) const {
        pollfd event = {pipe_.get(), POLLIN, 0};
        return poll(&event, 1, milliseconds) == 1;
    }

    static void order(DeauthTool& tool, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            tool.disconnect("wlan0", kMac);
        }
    }
    static std::ptrdiff_t openDescriptors() {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }

    std::string path_ = getenv("PATH");
    ostrel::testing::TempDirectory directory_;
    ostrel::Fd pipe_;
};

TEST_F(DeauthToolTest, CallsTheToolForEachStationAndLeavesNothingBehind) {
    installTool(R"(echo "$@" > $PIPE)");
    const int otherChild = fork();
    if (otherChild == 0) {
        _exit(7);
    }
    DeauthTool tool;
    const auto before = openDescriptors();
    std::multiset<std::string> expected;
    for (int i = 0; i < 50; ++i) {
        const std::string interfaceName = "wlan0; echo `id` $PIPE" + std::to_string(i);
        tool.disconnect(interfaceName, kMac);
        expected.insert("-i " + interfaceName + " -a " + kMac);
    }
    EXPECT_EQ(readLines(expected.size()), expected);
    tool.stop();
    EXPECT_EQ(openDescriptors(), before);
    int status = 0;
    EXPECT_EQ(waitpid(otherChild, &status, 0), otherChild) << "only its own children are reaped";
    EXPECT_EQ(WEXITSTATUS(status), 7);
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
    order(tool, DeauthTool::kMaxRunning + 1);
    EXPECT_EQ(readLines(DeauthTool::kMaxRunning + 1).count(""), 0U);
}

TEST_F(DeauthToolTest, RunsSixteenAtATimeAndEndsThem) {
    installTool("echo $$ > $PIPE; exec /bin/sleep 1000");
    const TemporaryLog log(Logger::kWarningBit);
    DeauthTool tool(std::chrono::minutes(1));
    order(tool, DeauthTool::kMaxRunning);
    const auto started = readLines(DeauthTool::kMaxRunning);
    order(tool, DeauthTool::kMaxWaiting);
    EXPECT_EQ(log.records().size(), 0U);
    order(tool, 1);
    EXPECT_EQ(log.records().size(), 1U) << "too many were taken";
    tool.stop();
    EXPECT_FALSE(waitForInput(0)) << "a seventeenth was started";
    for (const std::string& pid : started) {
        EXPECT_EQ(kill(std::stoi(pid), 0), -1) << pid;
    }
    order(tool, 1);
    EXPECT_FALSE(waitForInput(0));
}

TEST_F(DeauthToolTest, StartsNothingForThoseWhoAreBackOrHaveWaitedForLong) {
    installTool("echo $2 > $PIPE; read go < $PIPE.go");
    EXPECT_EQ(mkfifo((pipePath() + ".go").c_str(), 0600), 0);
    DeauthTool tool;
    DeauthTool impatient(std::chrono::seconds(5), std::chrono::seconds(-1));
    order(tool, DeauthTool::kMaxRunning);
    tool.disconnect("back", kMac);
    tool.disconnect("last", kMac);
    impatient.disconnect("late", kMac);
    EXPECT_EQ(readLines(DeauthTool::kMaxRunning).count("wlan0"), DeauthTool::kMaxRunning);
    tool.withdraw("back", kMac);
    ostrel::testing::writeFile(pipePath() + ".go", "\n");
    EXPECT_EQ(readLine(), "last");
}

TEST_F(DeauthToolTest, SaysOnceThatTheToolIsMissing) {
    installTool(R"(echo $2 > $PIPE)");
    const std::string program = directory_.path("deauth-client");
    const std::string away = directory_.path("away");
    std::filesystem::rename(program, away);
    const TemporaryLog log(3);
    DeauthTool tool;
    order(tool, 1);
    while (log.records().empty() && !waitForInput(1)) {
    }
    order(tool, 20);
    // It comes whole: what is still being written can't be run, not even when a child that has not
    // become its own program yet is the last that has it open.
    std::filesystem::rename(away, program);
    tool.disconnect("last", kMac);
    std::string line = "wlan0";
    while (line == "wlan0") {
        line = readLine();
    }
    EXPECT_EQ(line, "last");
    EXPECT_EQ(log.records(),
              TemporaryLog::Records{"|ERROR|disconnect: can't start deauth-client for client "
                                    "0a:1b:2c:3d:4e:5f: No such file or directory"});
}

}  // namespace
}  // namespace vesta
