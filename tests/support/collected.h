#pragma once

// A list that any thread may add to and that a test waits on, five seconds at the most.

#include <chrono>
#include <cstddef>
#include <utility>
#include <vector>

#include "ostrel/mutex.h"

namespace vesta::testing {

template <typename T>
class Collected {
public:
    void add(T item) {
        const ostrel::MutexLock lock(mutex_);
        items_.push_back(std::move(item));
        changed_.notifyAll();
    }
    // What has been collected once there are `count` of it, or after the longest wait.
    std::vector<T> waitFor(std::size_t count) {
        const ostrel::MutexLock lock(mutex_);
        while (items_.size() < count && changed_.waitFor(mutex_, std::chrono::seconds(5))) {
        }
        return items_;
    }
    // The same, and the list is empty again.
    std::vector<T> take(std::size_t count = 0) {
        waitFor(count);
        const ostrel::MutexLock lock(mutex_);
        return std::exchange(items_, {});
    }

private:
    ostrel::Mutex mutex_;
    ostrel::CondVar changed_;
    std::vector<T> items_ GUARDED_BY(mutex_);
};

}  // namespace vesta::testing
