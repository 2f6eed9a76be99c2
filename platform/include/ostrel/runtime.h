#pragma once

// What the platform libraries share: where their sockets live, one owner for descriptors, and one
// way to report. The platform libraries use this one and no other.
//
// Threads: every function may be called from any thread. Call setLogSink() before another thread
// may report. An Fd belongs to one thread at a time.

#include <cstdarg>
#include <string>
#include <utility>

namespace ostrel {

// "/run/ostrel", or the value of the environment variable OSTREL_RUNTIME_DIR, so that a test or a
// second instance can run beside the first. Without a trailing slash.
std::string runtimeDirectory();

// "/etc/ostrel/factory.json", or the value of the environment variable OSTREL_FACTORY_FILE.
std::string factoryFile();

// Makes the directory `path` with `mode`, and its missing parents. An existing one stays as it is.
// False, with errno set, when that is not possible.
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

    // The descriptor, which stays owned; negative when there is none.
    [[nodiscard]] int get() const { return fd_; }
    [[nodiscard]] bool valid() const { return fd_ >= 0; }
    // The descriptor, which the caller owns from now on.
    [[nodiscard]] int release() { return std::exchange(fd_, -1); }
    // Closes the descriptor it owns, and owns `fd` from now on. errno survives.
    void reset(int fd = -1);

private:
    int fd_ = -1;
};

// The level of a report; the values are the bits of the daemon's level mask.
enum class LogLevel { error = 1, warning = 2, debug = 4 };

// Receives the reports of the platform libraries, on the thread that reports. `text` has no line
// end and lives for the call. The sink must not call the library that reports.
using LogSink = void (*)(LogLevel level, const char* text);

// Sets the receiver of reports. Null, the start value, drops them.
void setLogSink(LogSink sink);

// Reports one text to the sink: `format` as of printf(), without line end. Of one format at most 20
// texts are reported in 10 s (see repeat_limit.h), so that no peer fills the log. errno survives.
void report(LogLevel level, const char* format, ...) __attribute__((format(printf, 2, 3)));

// Reports, as warnings, how many texts were left out of each format whose 10 s are over. report()
// does it by itself; a program that may fall silent calls it now and then.
void reportLeftOut();

}  // namespace ostrel
