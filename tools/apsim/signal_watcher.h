#pragma once

// The end that a user asks for, by Ctrl-C or SIGTERM.
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
    return signals;
}

// Waits for SIGINT or SIGTERM on a thread of its own, since a handler could do nothing of what is
// to be done. Every thread must have the two blocked.
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
