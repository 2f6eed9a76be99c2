#pragma once

// The end that a user asks for: Ctrl-C, SIGTERM, or a terminal that is closed.
//
// Threads: the reaction is called on a thread of the object's own.

#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <functional>
#include <thread>
#include <utility>

namespace apsim {

inline sigset_t endingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    struct sigaction hangup {};
    sigaction(SIGHUP, nullptr, &hangup);
    if (hangup.sa_handler != SIG_IGN) {  // nohup has a program stay
        sigaddset(&signals, SIGHUP);
    }
    return signals;
}

// Waits for one of the ending signals on a thread of its own, since a handler could do nothing of
// what is to be done. Every thread must have them blocked.
class SignalWatcher {
public:
    explicit SignalWatcher(std::function<void()> reaction)
        : thread_([this, reaction = std::move(reaction)] {
              const sigset_t signals = endingSignals();
              int number = 0;
              sigwait(&signals, &number);
              if (!ended_) {
                  stopped_ = true;
                  reaction();
              }
          }) {}
    ~SignalWatcher() {
        ended_ = true;
        pthread_kill(thread_.native_handle(), SIGTERM);
        thread_.join();
    }
    SignalWatcher(const SignalWatcher&) = delete;
    SignalWatcher& operator=(const SignalWatcher&) = delete;

    const std::atomic<bool>& stopped() const { return stopped_; }

private:
    std::atomic<bool> stopped_{false};
    std::atomic<bool> ended_{false};
    std::thread thread_;
};

}  // namespace apsim
