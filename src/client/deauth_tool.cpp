#include "client/deauth_tool.h"

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <system_error>

#include "core/logger.h"

namespace vesta {
namespace {

using std::chrono::milliseconds;

constexpr const char* kTool = "deauth-client";
// How often a run is looked at on a kernel that can't tell of its end.
constexpr milliseconds kBlindInterval(50);
// The exit status of a child that found no program to become. posix_spawn() should tell that
// itself, but where its child can't share the memory of the parent, as under an emulator, it
// reports success.
constexpr int kNoProgram = 127;

sigset_t allSignalsBut(std::initializer_list<int> exceptions) {
    sigset_t signals;
    sigfillset(&signals);
    for (const int signal : exceptions) {
        sigdelset(&signals, signal);
    }
    return signals;
}

// Blocks all signals but those of a thread's own faults for a thread that starts meanwhile.
class SignalsBlocked {
public:
    SignalsBlocked() {
        const sigset_t signals = allSignalsBut({SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT});
        pthread_sigmask(SIG_BLOCK, &signals, &before_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t before_;
};

// A program is started as from a shell: no signal blocked or ignored; and in a group of its own, so
// that what it started ends with it.
class SpawnAttributes {
public:
    SpawnAttributes() {
        posix_spawnattr_init(&attributes_);
        const sigset_t defaults = allSignalsBut({SIGKILL, SIGSTOP});
        posix_spawnattr_setsigdefault(&attributes_, &defaults);
        sigset_t none;
        sigemptyset(&none);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setpgroup(&attributes_, 0);
        posix_spawnattr_setflags(&attributes_,
                                 static_cast<short>(POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK |
                                                    POSIX_SPAWN_SETPGROUP));
    }
    ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;

    [[nodiscard]] const posix_spawnattr_t* get() const { return &attributes_; }

private:
    posix_spawnattr_t attributes_;
};

ostrel::Fd openProcess(int pid) {
#ifdef SYS_pidfd_open
    return ostrel::Fd(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
#else
    static_cast<void>(pid);
    return ostrel::Fd();
#endif
}

}  // namespace

DeauthTool::DeauthTool(milliseconds bound, milliseconds patience)
    : bound_(bound), patience_(patience), wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

void DeauthTool::disconnect(const std::string& interfaceName, const std::string& mac) {
    const char* refusal = nullptr;
    bool isFirst = false;
    {
        const MutexLock lock(mutex_);
        if (stopped_) {
            return;
        }
        refusal = enqueue({interfaceName, mac, std::chrono::steady_clock::now() + patience_});
        isFirst = !refusing_;
        refusing_ = refusal != nullptr;
    }
    if (refusal == nullptr) {
        wake();
    } else if (isFirst) {
        logger().Warning("%s: %s for client %s is dropped: %s\n", "disconnect", kTool, mac.c_str(),
                         refusal);
    }
}

const char* DeauthTool::enqueue(Order order) {
    if (waiting_.size() >= kMaxWaiting) {
        return "too many are waiting";
    }
    if (!thread_.joinable()) {
        if (!wake_.valid()) {
            return "no descriptor is left";
        }
        try {
            const SignalsBlocked blocked;
            thread_ = std::thread([this] { work(); });
        } catch (const std::system_error&) {
            return "no thread is left";
        }
    }
    waiting_.push_back(std::move(order));
    return nullptr;
}

void DeauthTool::withdraw(const std::string& interfaceName, const std::string& mac) {
    const MutexLock lock(mutex_);
    const auto isMeant = [&](const Order& order) {
        return order.mac == mac && order.interfaceName == interfaceName;
    };
    waiting_.remove_if(isMeant);
}

void DeauthTool::stop() {
    std::thread thread;
    {
        const MutexLock lock(mutex_);
        stopped_ = true;
        waiting_.clear();
        thread.swap(thread_);
    }
    if (thread.joinable()) {
        wake();
        thread.join();
    }
}

void DeauthTool::wake() const {
    const std::uint64_t one = 1;
    // It fails only when the counter is full, and then the thread is awake.
    static_cast<void>(!write(wake_.get(), &one, sizeof one));
}

void DeauthTool::work() {
    while (startWaiting()) {
        waitForEvent();
        reap();
    }
    endAll();
}

bool DeauthTool::startWaiting() {
    while (true) {
        Order order;
        {
            const MutexLock lock(mutex_);
            if (stopped_) {
                return false;
            }
            if (waiting_.empty() || running_.size() >= kMaxRunning) {
                return true;
            }
            order = std::move(waiting_.front());
            waiting_.pop_front();
        }
        if (order.lastStart < std::chrono::steady_clock::now()) {
            logger().Debug("%s: %s for client %s has waited for too long\n", "disconnect", kTool,
                           order.mac.c_str());
            continue;
        }
        start(std::move(order));
    }
}

void DeauthTool::start(Order order) {
    std::string tool = kTool;
    std::string interfaceOption = "-i";
    std::string addressOption = "-a";
    const std::array<char*, 6> arguments = {
        tool.data(),          interfaceOption.data(), order.interfaceName.data(),
        addressOption.data(), order.mac.data(),       nullptr};
    const SpawnAttributes attributes;
    int pid = -1;
    const int failure =
        posix_spawnp(&pid, kTool, nullptr, attributes.get(), arguments.data(), environ);
    if (failure == 0) {
        running_.push_back({pid, openProcess(pid), std::chrono::steady_clock::now() + bound_,
                            std::move(order.mac)});
    } else {
        fail(order.mac, failure);
    }
}

void DeauthTool::fail(const std::string& mac, int error) {
    if (!failing_) {
        logger().Error("%s: can't start %s for client %s: %s\n", "disconnect", kTool, mac.c_str(),
                       std::generic_category().message(error).c_str());
    }
    failing_ = true;
}

void DeauthTool::waitForEvent() {
    std::vector<pollfd> events = {{wake_.get(), POLLIN, 0}};
    Time next = Time::max();
    const Time now = std::chrono::steady_clock::now();
    for (const Run& run : running_) {
        events.push_back({run.exit.get(), POLLIN, 0});
        next = std::min(next, run.deadline);
        if (!run.exit.valid()) {
            next = std::min(next, now + kBlindInterval);
        }
    }
    int timeout = -1;
    if (next != Time::max()) {
        const auto left = std::chrono::ceil<milliseconds>(next - now);
        timeout = static_cast<int>(std::max(left, milliseconds(0)).count());
    }
    poll(events.data(), events.size(), timeout);
    std::uint64_t count = 0;
    static_cast<void>(!read(wake_.get(), &count, sizeof count));
}

void DeauthTool::reap() {
    const Time now = std::chrono::steady_clock::now();
    for (auto run = running_.begin(); run != running_.end();) {
        int status = 0;
        if (waitpid(run->pid, &status, WNOHANG) != 0) {
            if (WIFEXITED(status) && WEXITSTATUS(status) == kNoProgram) {
                fail(run->mac, ENOENT);
            } else {
                failing_ = false;
            }
            run = running_.erase(run);
            continue;
        }
        if (run->deadline <= now) {
            logger().Warning("%s: %s takes too long, it is killed\n", "disconnect", kTool);
            kill(-run->pid, SIGKILL);
            run->deadline = Time::max();
        }
        ++run;
    }
}

void DeauthTool::endAll() {
    for (const Run& run : running_) {
        kill(-run.pid, SIGKILL);
        waitpid(run.pid, nullptr, 0);
    }
    running_.clear();
}

}  // namespace vesta
