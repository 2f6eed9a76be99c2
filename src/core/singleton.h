#pragma once

// The one instance of T, made at first use. It is never destroyed: a singleton may be used, or own
// a thread, until the very end of the process, and the process ends with threads still living.

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
