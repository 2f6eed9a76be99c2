#pragma once

// The one instance of T, made at first use by any thread. It is never destroyed, because other
// threads may still use it when the process ends.

namespace vesta {

template <class T>
class Singleton {
public:
    static T& getInstance() {
        static T* const instance = new T;
        return *instance;
    }
};

}  // namespace vesta
