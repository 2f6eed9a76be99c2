#pragma once

// The daemon's log. Error, warning and debug records are enabled one by one by the bits of
// "loglevel"; every format ends with "\n". Formats that begin with "%s,%d," name the calling
// operation and a number that stays with the record, so that operators can filter by it.
//
// Threads: any thread may log; one lock covers the two library calls of a record.

#include <atomic>
#include <cstdarg>
#include <memory>
#include <string>

#include "core/message_entry.h"
#include "core/mutex.h"
#include "core/singleton.h"

namespace vesta {

class Logger {
public:
    static constexpr int kErrorBit = 1;
    static constexpr int kWarningBit = 2;
    static constexpr int kDebugBit = 4;

    Logger() = default;

    void setLogLevel(int mask) { mask_.store(mask, std::memory_order_relaxed); }
    [[nodiscard]] int getLogLevel() const { return mask_.load(std::memory_order_relaxed); }
    [[nodiscard]] bool isDebug() const { return (getLogLevel() & kDebugBit) != 0; }

    // Sets up the log from "logfile", "loglevel" and "logfile-limit" (KiB) of the section
    // "captive-portal"; the platform libraries report here from now on. Throws
    // ENTRY_EXCEPTION_TYPE when the section or a key is missing, and names it on standard error.
    void setTraceOpts(const std::shared_ptr<MessageEntry>& config);

    void Debug(const char* format, ...) __attribute__((format(printf, 2, 3)));
    // The same for what a stranger can bring about as often as he likes; limited like a warning.
    void StrangerDebug(const char* format, ...) __attribute__((format(printf, 2, 3)));
    // Of one format at most 20 warnings or errors are written in 10 s, and then one record with the
    // number of those left out.
    void Warning(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void Error(const char* format, ...) __attribute__((format(printf, 2, 3)));

    // To be called once a second: opens a log that was moved away anew, and tells what was left
    // out.
    void tend() EXCLUDES(mutex_);

    void writeLog(const std::string& levelName, const char* format, va_list arguments)
        EXCLUDES(mutex_) __attribute__((format(printf, 3, 0)));

private:
    std::atomic<int> mask_{0};
    Mutex mutex_;
};

inline Logger& logger() {
    return Singleton<Logger>::getInstance();
}

}  // namespace vesta
