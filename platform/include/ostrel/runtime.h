#pragma once

// What the platform libraries have in common: where their sockets live, one owner for descriptors,
// and one way to report. No library of the platform knows another one; all may know this.
//
// Threads: every function may be called from any thread; setLogSink() before the first thread that
// could report.

#include <cstdarg>
#include <string>
#include <utility>

namespace ostrel {

// "/run/ostrel", or the value of OSTREL_RUNTIME_DIR, so that a second instance or a test can live
// beside the first. Without a trailing slash.
std::string runtimeDirectory();

// "/etc/ostrel/factory.json", or the value of OSTREL_FACTORY_FILE.
std::string factoryFile();

// Makes `path` and its missing parents, the last one with `mode`. False with errno set when that is
// not possible; an existing directory is left as it is.
[[nodiscard]] bool makeDirectories(const std::string& path, unsigned int mode);

// The one owner of a file descriptor.
class Fd {
public:
    Fd() = default;
    explicit Fd(int fd) : fd_(fd) {}
    Fd(Fd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Fd& operator=(Fd&& other) noexcept;
    ~Fd();
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;

    [[nodiscard]] int get() const { return fd_; }
    [[nodiscard]] bool valid() const { return fd_ >= 0; }
    [[nodiscard]] int release() { return std::exchange(fd_, -1); }
    // Closes what is held (errno survives) and holds `fd` instead.
    void reset(int fd = -1);

private:
    int fd_ = -1;
};

// The level of a report; the values are the bits of the daemon's level mask.
enum class LogLevel { error = 1, warning = 2, debug = 4 };

// Receives what a platform library has to say: one text without line end. It must not call back
// into the platform library that reports.
using LogSink = void (*)(LogLevel level, const char* text);

// Sets the receiver; null (the start value) drops the reports.
void setLogSink(LogSink sink);

// Reports to the sink; printf formats, no line end. errno survives.
void report(LogLevel level, const char* format, ...) __attribute__((format(printf, 2, 3)));

}  // namespace ostrel
