#pragma once

// Programs beside a test or a benchmark, and places for them.
//
// Threads: one; a child dies with the thread that started it.

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "ostrel/runtime.h"

namespace vesta::testing {

// A child process, killed with its object.
class ChildProcess {
public:
    // Where its standard output and error go.
    enum class Output { shared, heard };

    ChildProcess() = default;
    explicit ChildProcess(const std::vector<std::string>& words) { start(words); }
    ~ChildProcess() { end(SIGKILL); }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // In place of the one before. Throws std::runtime_error when there can be no process; one whose
    // program is missing ends with 127.
    void start(std::vector<std::string> words, Output output = Output::shared) {
        end(SIGKILL);
        said_.clear();
        std::vector<char*> arguments;
        for (std::string& word : words) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        int ends[2] = {-1, -1};
        if (output == Output::heard && pipe2(ends, O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
        output_.reset(ends[0]);
        const ostrel::Fd theirs(ends[1]);
        pid_ = fork();
        if (pid_ == 0) {
            run(arguments.data(), theirs.get());
        }
        if (pid_ < 0) {
            throw std::runtime_error("no process for " + words[0]);
        }
        ended_.reset(static_cast<int>(syscall(SYS_pidfd_open, pid_, 0)));
    }

    [[nodiscard]] pid_t pid() const { return pid_; }
    void signal(int number) const { kill(pid_, number); }
    // The exit status, or minus the signal that ended it; 0 without a process.
    int end(int signal) {
        if (pid_ <= 0) {
            return 0;
        }
        kill(pid_, signal);
        return reap();
    }
    // The same when it ends by itself within thirty seconds; all that it said has been heard then.
    std::optional<int> waitForEnd() {
        if (!readable(ended_.get())) {
            return std::nullopt;
        }
        while (hear()) {
        }
        return reap();
    }

    // Of a child whose output is heard: waits until it has said `text`. False when it does not
    // within thirty seconds of silence, or ends before.
    bool waitForText(const std::string& text) {
        while (said_.find(text) == std::string::npos) {
            if (!hear()) {
                return false;
            }
        }
        return true;
    }
    [[nodiscard]] const std::string& said() const { return said_; }
    // What it says from now on is lost; unheard it would block in the end.
    void stopHearing() { output_.reset(); }

private:
    [[noreturn]] static void run(char* const* words, int output) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (output >= 0) {
            dup2(output, STDOUT_FILENO);
            dup2(output, STDERR_FILENO);
        }
        execvp(words[0], words);
        _exit(127);
    }
    static bool readable(int fd) {
        pollfd waited{fd, POLLIN, 0};
        return poll(&waited, 1, 30000) == 1;
    }
    bool hear() {
        std::array<char, 4096> buffer;
        const ssize_t count = output_.get() >= 0 && readable(output_.get())
                                  ? read(output_.get(), buffer.data(), buffer.size())
                                  : 0;
        said_.append(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
        return count > 0;
    }
    int reap() {
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    pid_t pid_ = 0;
    ostrel::Fd ended_;
    ostrel::Fd output_;
    std::string said_;
};

// A program, to which words may be added, in a mount and a network namespace of its own: its PID
// file and its ports meet nobody else's. `runDirectory` is its /var/run; "" gives it an empty one.
// The program alone where this machine lets us make no namespaces, as canIsolate() tells.
inline const char* namespaceOptions() {
    static const char* const options = std::system("unshare -mn true 2>/dev/null") == 0 ? "-mn"
                                       : std::system("unshare -rmn true 2>/dev/null") == 0
                                           ? "-rmn"
                                           : nullptr;
    return options;
}
inline bool canIsolate() {
    return namespaceOptions() != nullptr;
}
inline std::vector<std::string> isolated(const std::string& program,
                                         const std::string& runDirectory = "") {
    if (!canIsolate()) {
        return {program};
    }
    const char* const mount =
        runDirectory.empty() ? "mount -t tmpfs none /var/run" : R"(mount --bind "$0" /var/run)";
    return {"unshare",
            namespaceOptions(),
            "sh",
            "-c",
            mount + std::string(R"( && exec "$@")"),
            runDirectory,
            program};
}

// A port of loopback that nobody has: SOCK_STREAM is of TCP, SOCK_DGRAM of UDP. Throws
// std::runtime_error when there is none.
inline std::uint16_t freePort(int type = SOCK_STREAM) {
    const ostrel::Fd socket(::socket(AF_INET, type | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(socket.get(), generic, size) != 0 || getsockname(socket.get(), generic, &size) != 0) {
        throw std::runtime_error("no free port");
    }
    return ntohs(address.sin_port);
}

}  // namespace vesta::testing
