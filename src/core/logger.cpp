#include "core/logger.h"

#include <cstdio>

#include "ostrel/log.h"
#include "ostrel/repeat_limit.h"
#include "ostrel/runtime.h"

namespace vesta {
namespace {

constexpr const char* kSection = "captive-portal";

// What is reported has passed the limit for repetitions already.
__attribute__((format(printf, 2, 3))) void write(const char* level, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    logger().writeLog(level, format, arguments);
    va_end(arguments);
}

void logReport(ostrel::LogLevel level, const char* text) {
    const auto bit = static_cast<int>(level);
    if ((logger().getLogLevel() & bit) == 0) {
        return;
    }
    const char* const name = bit == Logger::kErrorBit     ? "ERROR"
                             : bit == Logger::kWarningBit ? "WARNING"
                                                          : "DEBUG";
    write(name, "%s\n", text);
}

bool isWanted(int bit, const char* format) {
    if ((logger().getLogLevel() & bit) == 0) {
        return false;
    }
    ostrel::reportLeftOut();
    return ostrel::repeatLimit().admits(format);
}

}  // namespace

void Logger::setTraceOpts(const std::shared_ptr<MessageEntry>& config) {
    std::string file;
    int limitKiB = 0;
    const char* key = kSection;
    try {
        if (const auto section = config->getObjectValue(key)) {
            file = section->getCharValue(key = "logfile");
            setLogLevel(section->getIntValue(key = "loglevel"));
            limitKiB = section->getIntValue(key = "logfile-limit");
        }
    } catch (ENTRY_EXCEPTION_TYPE reason) {
        // There is no log file yet that could take this.
        std::fprintf(stderr, "vestad: configuration: \"%s\" of \"%s\" %s\n", key,
                     key == kSection ? "the document" : kSection,
                     reason == ENTRY_NOT_FOUND ? "is missing" : "has the wrong type");
        throw;
    }
    ostrel_log_set_daemonname("vestad");
    ostrel_log_set_filename(file.empty() ? "/dev/null" : file.c_str());
    ostrel_log_set_limit(limitKiB);
    ostrel::setLogSink(logReport);
}

void Logger::Debug(const char* format, ...) {
    if ((getLogLevel() & kDebugBit) == 0) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    writeLog("DEBUG", format, arguments);
    va_end(arguments);
}

void Logger::StrangerDebug(const char* format, ...) {
    if (!isWanted(kDebugBit, format)) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    writeLog("DEBUG", format, arguments);
    va_end(arguments);
}

void Logger::Warning(const char* format, ...) {
    if (!isWanted(kWarningBit, format)) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    writeLog("WARNING", format, arguments);
    va_end(arguments);
}

void Logger::Error(const char* format, ...) {
    if (!isWanted(kErrorBit, format)) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    writeLog("ERROR", format, arguments);
    va_end(arguments);
}

void Logger::tend() {
    {
        const MutexLock lock(mutex_);
        ostrel_log_tend();
    }
    ostrel::reportLeftOut();
}

void Logger::writeLog(const std::string& levelName, const char* format, va_list arguments) {
    const MutexLock lock(mutex_);
    ostrel_log_msg_timed("|%s|", levelName.c_str());
    vostrel_log_msg(format, arguments);
}

}  // namespace vesta
