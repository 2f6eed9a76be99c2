#include "ostrel/runtime.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ostrel/repeat_limit.h"

namespace ostrel {
namespace {

std::atomic<LogSink> logSink{nullptr};

std::string environmentOr(const char* name, const char* fallback) {
    const char* value = std::getenv(name);
    return value != nullptr && *value != '\0' ? value : fallback;
}

// Leaves errno alone, which tells why the directory could not be made.
bool isDirectory(const std::string& path) {
    const int saved = errno;
    struct stat status {};
    const bool directory = stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
    errno = saved;
    return directory;
}

}  // namespace

std::string runtimeDirectory() {
    std::string directory = environmentOr("OSTREL_RUNTIME_DIR", "/run/ostrel");
    while (directory.size() > 1 && directory.back() == '/') {
        directory.pop_back();
    }
    return directory;
}

std::string factoryFile() {
    return environmentOr("OSTREL_FACTORY_FILE", "/etc/ostrel/factory.json");
}

bool makeDirectories(const std::string& path, unsigned int mode) {
    for (std::size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        const std::string parent = path.substr(0, slash);
        if (mkdir(parent.c_str(), 0755) != 0 && !isDirectory(parent)) {
            return false;
        }
    }
    if (mkdir(path.c_str(), static_cast<mode_t>(mode)) == 0) {
        // mkdir() takes the umask off the mode.
        return chmod(path.c_str(), static_cast<mode_t>(mode)) == 0;
    }
    return isDirectory(path);
}

Fd& Fd::operator=(Fd&& other) noexcept {
    if (this != &other) {
        reset(other.release());
    }
    return *this;
}

Fd::~Fd() {
    reset();
}

void Fd::reset(int fd) {
    if (fd_ >= 0) {
        const int saved = errno;
        close(fd_);
        errno = saved;
    }
    fd_ = fd;
}

void setLogSink(LogSink sink) {
    logSink.store(sink, std::memory_order_release);
}

void report(LogLevel level, const char* format, ...) {
    const LogSink sink = logSink.load(std::memory_order_acquire);
    if (sink == nullptr) {
        return;
    }
    const int saved = errno;
    reportLeftOut();
    if (!repeatLimit().admits(format)) {
        return;
    }
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    sink(level, text);
    errno = saved;
}

void reportLeftOut() {
    const LogSink sink = logSink.load(std::memory_order_acquire);
    for (const RepeatLimit::LeftOut& one : repeatLimit().takeLeftOut()) {
        if (sink == nullptr) {
            continue;
        }
        char text[256];
        const std::size_t length = std::strcspn(one.format, "\n");
        std::snprintf(text, sizeof text, "%u more records like \"%.*s\" were left out", one.count,
                      static_cast<int>(length), one.format);
        sink(LogLevel::warning, text);
    }
}

}  // namespace ostrel
