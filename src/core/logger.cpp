#include "core/logger.h"

#include <cstdio>

#include "ostrel/log.h"
#include "ostrel/runtime.h"

namespace vesta {
namespace {

constexpr const char* kSection = "captive-portal";

void logReport(ostrel::LogLevel level, const char* text) {
    switch (level) {
        case ostrel::LogLevel::error:
            logger().Error("%s\n", text);
            return;
        case ostrel::LogLevel::warning:
            logger().Warning("%s\n", text);
            return;
        case ostrel::LogLevel::debug:
            logger().Debug("%s\n", text);
            return;
    }
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

void Logger::Warning(const char* format, ...) {
    if ((getLogLevel() & kWarningBit) == 0) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    writeLog("WARNING", format, arguments);
    va_end(arguments);
}

void Logger::Error(const char* format, ...) {
    if ((getLogLevel() & kErrorBit) == 0) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    writeLog("ERROR", format, arguments);
    va_end(arguments);
}

void Logger::writeLog(const std::string& levelName, const char* format, va_list arguments) {
    const MutexLock lock(mutex_);
    ostrel_log_msg_timed("|%s|", levelName.c_str());
    vostrel_log_msg(format, arguments);
}

}  // namespace vesta
