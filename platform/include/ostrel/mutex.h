#pragma once

// The one mutex of the project, annotated for Clang's thread-safety analysis. A member that a mutex
// guards says GUARDED_BY, a function that needs the mutex held says REQUIRES, and a build with
// clang proves it. The analysis does not see std::mutex and std::lock_guard, so nothing uses them
// directly.

#include <chrono>
#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define OSTREL_ANNOTATE(x) __attribute__((x))
#else
#define OSTREL_ANNOTATE(x)
#endif

#define CAPABILITY(name) OSTREL_ANNOTATE(capability(name))
#define SCOPED_CAPABILITY OSTREL_ANNOTATE(scoped_lockable)
#define GUARDED_BY(mutex) OSTREL_ANNOTATE(guarded_by(mutex))
#define REQUIRES(...) OSTREL_ANNOTATE(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) OSTREL_ANNOTATE(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) OSTREL_ANNOTATE(acquire_capability(__VA_ARGS__))
#define RELEASE(...) OSTREL_ANNOTATE(release_capability(__VA_ARGS__))
#define NO_THREAD_SAFETY_ANALYSIS OSTREL_ANNOTATE(no_thread_safety_analysis)

namespace ostrel {

class CAPABILITY("mutex") Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() ACQUIRE() { mutex_.lock(); }
    void unlock() RELEASE() { mutex_.unlock(); }

private:
    friend class CondVar;
    std::mutex mutex_;
};

// Holds a mutex for the rest of the scope.
class SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
    ~MutexLock() RELEASE() { mutex_.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& mutex_;
};

// A condition variable for Mutex. It has no form with a predicate, because the analysis can't see
// into the lambda: callers write the while loop.
class CondVar {
public:
    void notifyOne() { condition_.notify_one(); }
    void notifyAll() { condition_.notify_all(); }

    // Wakes without a notification too, as every condition variable may.
    void wait(Mutex& mutex) REQUIRES(mutex) {
        std::unique_lock<std::mutex> lock(mutex.mutex_, std::adopt_lock);
        condition_.wait(lock);
        lock.release();
    }

    // False when `timeout` passed without a notification.
    bool waitFor(Mutex& mutex, std::chrono::microseconds timeout) REQUIRES(mutex) {
        std::unique_lock<std::mutex> lock(mutex.mutex_, std::adopt_lock);
        const bool notified = condition_.wait_for(lock, timeout) == std::cv_status::no_timeout;
        lock.release();
        return notified;
    }

private:
    std::condition_variable condition_;
};

}  // namespace ostrel
