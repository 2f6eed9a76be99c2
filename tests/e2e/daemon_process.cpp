#include "daemon_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace vesta::testing {
namespace {

constexpr int kPatienceMilliseconds = 30000;

// As root, or as anybody who may make a user namespace.
const char* namespaceOptions() {
    if (std::system("unshare -mn true 2>/dev/null") == 0) {
        return "-mn";
    }
    return std::system("unshare -rmn true 2>/dev/null") == 0 ? "-rmn" : nullptr;
}

// Whether the thread in that directory of /proc handles faults; a sanitizer's own does not.
bool takesFaults(const std::filesystem::path& task) {
    std::ifstream status(task / "status");
    std::string name;
    while (status >> name && name != "SigBlk:") {
    }
    std::uint64_t blocked = 0;
    status >> std::hex >> blocked;
    return (blocked >> (SIGSEGV - 1) & 1U) == 0;
}

pid_t spawn(std::vector<std::string> words, int errorFd) {
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, errorFd, STDERR_FILENO);
    pid_t pid = -1;
    posix_spawnp(&pid, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}

bool readable(int fd) {
    pollfd waited{fd, POLLIN, 0};
    return poll(&waited, 1, kPatienceMilliseconds) == 1;
}

}  // namespace

DaemonProcess::DaemonProcess(const std::string& runDirectory,
                             const std::vector<std::string>& arguments) {
    std::vector<std::string> words{
        "unshare",    namespaceOptions(), "sh", "-c", R"(mount --bind "$0" /var/run && exec "$@")",
        runDirectory, VESTAD_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return;
    }
    errorPipe_.reset(ends[0]);
    const ostrel::Fd writing(ends[1]);
    pid_ = spawn(std::move(words), writing.get());
    process_.reset(static_cast<int>(syscall(SYS_pidfd_open, pid_, 0)));
}

DaemonProcess::~DaemonProcess() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

bool DaemonProcess::possible() {
    return namespaceOptions() != nullptr;
}

std::vector<pid_t> DaemonProcess::threads() const {
    std::vector<pid_t> ids;
    for (const auto& task :
         std::filesystem::directory_iterator("/proc/" + std::to_string(pid_) + "/task")) {
        if (takesFaults(task.path())) {
            ids.push_back(std::stoi(task.path().filename()));
        }
    }
    return ids;
}

bool DaemonProcess::readErrors() {
    std::array<char, 4096> buffer;
    const ssize_t count =
        readable(errorPipe_.get()) ? read(errorPipe_.get(), buffer.data(), buffer.size()) : 0;
    if (count <= 0) {
        return false;
    }
    errors_.append(buffer.data(), static_cast<std::size_t>(count));
    return true;
}

bool DaemonProcess::waitForError(const std::string& text) {
    while (errors_.find(text) == std::string::npos) {
        if (!readErrors()) {
            return false;
        }
    }
    return true;
}

std::string DaemonProcess::waitForEnd() {
    if (!readable(process_.get())) {
        return "still running";
    }
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    while (readErrors()) {
    }
    return WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                               : "exit " + std::to_string(WEXITSTATUS(status));
}

void DaemonTest::SetUp() {
    if (!DaemonProcess::possible()) {
        GTEST_SKIP() << "this machine does not let us make a mount namespace";
    }
    std::filesystem::create_directory(runDirectory());
}

apsim::Json DaemonTest::config(int level) const {
    apsim::Json document =
        apsim::Json::parse(documentText(vapText("wlan0-va1", "Guest", "portal")));
    document["captive-portal"]["logfile"] = logFile();
    document["captive-portal"]["loglevel"] = level;
    return document;
}

void DaemonTest::start(const std::vector<std::string>& arguments) {
    daemon_ = std::make_unique<DaemonProcess>(runDirectory(), arguments);
}

void DaemonTest::putUp(const apsim::Json& document) {
    // One that is there holds the places on the bus.
    accessPoint_.reset();
    accessPoint_ = std::make_unique<apsim::AccessPoint>(document);
}

void DaemonTest::serve(const apsim::Json& document, const std::vector<std::string>& arguments) {
    putUp(document);
    start(arguments);
    const apsim::Milliseconds patience(kPatienceMilliseconds);
    ASSERT_TRUE(accessPoint_->waitForDaemon(patience));
    ASSERT_TRUE(accessPoint_->monitord().waitForAnswers(1, patience));
}

std::vector<std::string> DaemonTest::logged(const std::string& part) const {
    std::vector<std::string> found;
    std::ifstream file(logFile());
    for (std::string line; std::getline(file, line);) {
        if (line.find(part) != std::string::npos) {
            found.push_back(line.substr(std::min(line.find('|'), line.size())));
        }
    }
    return found;
}

std::string contentOf(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

}  // namespace vesta::testing
