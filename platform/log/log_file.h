#pragma once

// The file beneath the log: opened so that nothing about it can block the daemon, kept below its
// limit, opened anew when it has vanished. The number of the descriptor stays the same from the
// first opening on, whatever is opened later, so that a signal handler on another thread never
// writes to a descriptor that has become something else.
//
// Threads: one at a time; the number that descriptor() returns may be written to at any moment.

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

    // Regular files are renamed to `path`.1 and begun anew when a record would make them pass
    // `bytes`; 0 means no limit.
    void setLimit(std::int64_t bytes) { limit_ = bytes; }

    // Writes one whole record. False with errno set when it did not go out whole.
    [[nodiscard]] bool append(const char* record, std::size_t length);

    // Only a part of the last record went out: the file does not end with a line end.
    [[nodiscard]] bool torn() const { return torn_; }

    // -1 until something could be opened.
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
