#include "child_process.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>

namespace vesta::bench {
namespace {

// The number behind "<name>:" in a status file of /proc; -1 without it.
long statusNumber(const std::string& directory, const std::string& name) {
    std::ifstream file(directory + "/status");
    for (std::string line; std::getline(file, line);) {
        if (line.rfind(name + ":", 0) == 0) {
            return std::stol(line.substr(name.size() + 1));
        }
    }
    return -1;
}

constexpr const char* kIsolated = R"(
    for user in "" r; do
        if unshare -"$user"mn true 2>/dev/null; then
            exec unshare -"$user"mn sh -c 'mount -t tmpfs none /run && exec "$0" "$@"' "$0" "$@"
        fi
    done
    exec "$0" "$@")";

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& words) {
    std::vector<std::string> copies = words;
    std::vector<char*> arguments;
    for (std::string& word : copies) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    pid_ = fork();
    if (pid_ < 0) {
        throw std::runtime_error("no process for " + words[0]);
    }
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        execvp(arguments[0], arguments.data());
        _exit(127);
    }
}

ChildProcess::~ChildProcess() {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
}

std::vector<std::string> ChildProcess::isolated(const std::string& program) {
    return {"sh", "-c", kIsolated, program};
}

long ChildProcess::residentKiB() const {
    return statusNumber("/proc/" + std::to_string(pid_), "VmRSS");
}

std::vector<long> ChildProcess::sleeps() const {
    std::map<int, long> byThread;
    for (const auto& task :
         std::filesystem::directory_iterator("/proc/" + std::to_string(pid_) + "/task")) {
        byThread[std::stoi(task.path().filename())] =
            statusNumber(task.path(), "voluntary_ctxt_switches");
    }
    std::vector<long> counts;
    for (const auto& [thread, count] : byThread) {
        counts.push_back(count);
    }
    return counts;
}

}  // namespace vesta::bench
