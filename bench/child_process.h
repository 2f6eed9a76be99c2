#pragma once

// A process that is measured, and what the system tells of it.

#include <sys/types.h>

#include <string>
#include <vector>

namespace vesta::bench {

class ChildProcess {
public:
    // Throws std::runtime_error when it can't be started.
    explicit ChildProcess(const std::vector<std::string>& words);
    // Kills it.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // A program, to which words may be added, where that is possible in a mount and a network
    // namespace of its own, so that a daemon there does not meet one that this machine runs.
    static std::vector<std::string> isolated(const std::string& program);

    [[nodiscard]] pid_t pid() const { return pid_; }
    [[nodiscard]] long residentKiB() const;
    // For each thread, in order of its making: how often it went to sleep so far.
    [[nodiscard]] std::vector<long> sleeps() const;

private:
    pid_t pid_ = -1;
};

}  // namespace vesta::bench
