#pragma once

// Asks modules of the bus one question after the other and takes the time, and the barest module
// that can be asked: it sends back what it gets.
//
// Threads: ask() from one thread.

#include <chrono>
#include <memory>
#include <string>

#include "ostrel/ipc.h"

namespace vesta::bench {

inline constexpr int kEchoModule = 78;

// The echo's side; does not return.
[[noreturn]] void serveEcho();

using Microseconds = std::chrono::duration<double, std::micro>;

// From the call until the answer is parsed; negative when none came or the question didn't leave.
Microseconds ask(IpcInterface& ipc, int module, const std::string& question);

class BusCaller {
public:
    BusCaller();
    ~BusCaller();
    BusCaller(const BusCaller&) = delete;
    BusCaller& operator=(const BusCaller&) = delete;

    Microseconds ask(int module, const std::string& question) {
        return bench::ask(ipc_, module, question);
    }

private:
    IpcInterface ipc_;
};

}  // namespace vesta::bench
