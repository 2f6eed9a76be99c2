#include "daemon/signals.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>

#include "core/logger.h"
#include "daemon/pid_file.h"
#include "modules/state_sender.h"
#include "ostrel/log.h"

namespace vesta {
namespace {

constexpr int kSignals[] = {SIGTERM, SIGINT, SIGABRT, SIGSEGV};
// Room for the handler and for the largest register set that a kernel saves below it.
constexpr std::size_t kStackBytes = 64 * 1024;

std::atomic_flag ending = ATOMIC_FLAG_INIT;
alignas(std::max_align_t) char handlerStack[kStackBytes];

// Written by hand, as no handler may call a formatter.
const char* recordOf(int signal) {
    switch (signal) {
        case SIGTERM:
            return "|WARNING|Receive kill signal 15\n";
        case SIGINT:
            return "|WARNING|Receive kill signal 2\n";
        case SIGABRT:
            return "|WARNING|Receive kill signal 6\n";
        default:
            return "|WARNING|Receive kill signal 11\n";
    }
}

// What the modules shall know already is still told. No longer than a second: the interrupted
// thread may hold a lock that the senders need, and a module may hang.
void awaitModules() {
    constexpr int kSteps = 50;
    constexpr int kStepMilliseconds = 20;
    for (int step = 0; step < kSteps && StateSender::anyBusy(); ++step) {
        poll(nullptr, 0, kStepMilliseconds);
    }
}

// Only async-signal-safe calls: the interrupted thread may hold the logger's lock or the heap's.
// The other threads go on meanwhile; _exit() ends them without running any destructor.
void endProcess(int signal) {
    if (ending.test_and_set()) {
        // Another thread is ending the process already.
        for (;;) {
            pause();
        }
    }
    if ((logger().getLogLevel() & Logger::kWarningBit) != 0) {
        ostrel_log_emergency(recordOf(signal));
    }
    if (signal == SIGTERM || signal == SIGINT) {
        awaitModules();
    }
    removePidFile();
    _exit(0);
}

void reopenLog(int) {
    ostrel_log_reopen();
}

}  // namespace

void installSignalHandlers() {
    stack_t stack{};
    stack.ss_sp = handlerStack;
    stack.ss_size = sizeof handlerStack;
    sigaltstack(&stack, nullptr);

    struct sigaction action {};
    action.sa_handler = endProcess;
    action.sa_flags = SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (const int signal : kSignals) {
        sigaddset(&action.sa_mask, signal);
    }
    for (const int signal : kSignals) {
        sigaction(signal, &action, nullptr);
    }
    action.sa_handler = reopenLog;
    action.sa_flags = SA_RESTART;
    sigaction(SIGHUP, &action, nullptr);
}

}  // namespace vesta
