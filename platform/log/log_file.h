#pragma once

// The file of the log. It never blocks the daemon, stays below its limit and is opened anew when
// somebody removes it. The number of the descriptor never changes after the first opening, so a
// signal handler on another thread always writes to the log.
//
// Threads: one at a time. Any thread may write to descriptor() at any moment.

#include <cstddef>
#include <cstdint>
#include <string>

namespace ostrel::log {

class LogFile {
public:
    LogFile() = default;
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    // Appends to `path` from now on. The descriptor is never closed.
    void setPath(const std::string& path);

    // Opens the path anew: the file was moved away.
    void reopen();

    // Regular files are renamed to `path`.1 and begun anew when a record would make them pass
    // `bytes`; 0 means no limit.
    void setLimit(std::int64_t bytes) { limit_ = bytes; }

    // Writes one whole record. False with errno set when it did not go out whole.
    [[nodiscard]] bool append(const char* record, std::size_t length);

    // True when only a part of the last record went out, so the file does not end with a line end.
    [[nodiscard]] bool torn() const { return torn_; }

    // -1 until a file could be opened.
    [[nodiscard]] int descriptor() const { return descriptor_; }

private:
    bool makeRoom(std::size_t length);
    bool rotate();
    bool open();
    bool adopt(int opened);
    bool fail(int error);

    std::string path_;
    std::int64_t limit_ = 0;
    int descriptor_ = -1;
    int error_ = 0;  // why the file is not open, 0 when it is
    bool reported_ = false;
    bool torn_ = false;
    std::int64_t nextAttempt_ = 0;  // monotonic seconds
};

}  // namespace ostrel::log
