#pragma once

// Programs beside a test, and a place for them on loopback.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "ostrel/runtime.h"

namespace vesta::testing {

// A child process, killed with its object.
class ChildProcess {
public:
    ChildProcess() = default;
    ~ChildProcess() { end(SIGKILL); }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    void start(std::vector<std::string> words) {
        std::vector<char*> arguments;
        for (std::string& word : words) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        ASSERT_EQ(posix_spawn(&pid_, arguments[0], nullptr, nullptr, arguments.data(), environ), 0);
    }
    void signal(int number) const { kill(pid_, number); }
    // The exit status, or minus the signal that ended it.
    int end(int signal) {
        if (pid_ <= 0) {
            return 0;
        }
        kill(pid_, signal);
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

private:
    pid_t pid_ = 0;
};

// A TCP port of loopback that nobody has.
inline int freePort() {
    const ostrel::Fd socket(::socket(AF_INET, SOCK_STREAM, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(bind(socket.get(), generic, size), 0);
    EXPECT_EQ(getsockname(socket.get(), generic, &size), 0);
    return ntohs(address.sin_port);
}

}  // namespace vesta::testing
