#include "log_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "ostrel/clock.h"

namespace ostrel::log {
namespace {

constexpr std::int64_t kReopenSeconds = 5;

// A FIFO is opened for reading too. So it always has a reader: opening never fails for lack of one,
// and a write raises no SIGPIPE.
int accessMode(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode) ? O_RDWR : O_WRONLY;
}

// A link might lead into any file of the system. A new file is its owner's alone, whatever the
// umask; an existing one keeps the mode that somebody gave it.
int openFile(const char* path, int access) {
    const int flags = access | O_APPEND | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    int file = open(path, flags);
    if (file < 0 && errno == ENOENT) {
        file = open(path, flags | O_CREAT | O_EXCL, 0600);
        if (file >= 0) {
            fchmod(file, 0600);
        }
    }
    return file;
}

std::size_t writeOnce(int fd, const char* bytes, std::size_t length) {
    ssize_t written = 0;
    do {
        written = write(fd, bytes, length);
    } while (written < 0 && errno == EINTR);
    return written < 0 ? 0 : static_cast<std::size_t>(written);
}

}  // namespace

void LogFile::setPath(const std::string& path) {
    path_ = path;
    torn_ = false;
    reported_ = false;
    open();
}

void LogFile::reopen() {
    if (!path_.empty()) {
        torn_ = false;
        open();
    }
}

bool LogFile::append(const char* record, std::size_t length) {
    if (error_ != 0 && (monotonicSeconds() < nextAttempt_ || !open())) {
        errno = error_;
        return false;
    }
    if (!makeRoom(length)) {
        return false;
    }
    std::size_t done = writeOnce(descriptor_, record, length);
    if (done > 0 && done < length) {
        done += writeOnce(descriptor_, record + done, length - done);
    }
    if (done > 0) {
        torn_ = done < length;
    }
    return done == length;
}

bool LogFile::makeRoom(std::size_t length) {
    struct stat status {};
    if (fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode)) {
        return true;
    }
    if (status.st_nlink == 0) {  // somebody has removed it
        return open();
    }
    const std::int64_t size = status.st_size;
    if (limit_ > 0 && size > 0 && size + static_cast<std::int64_t>(length) > limit_) {
        return rotate();
    }
    return true;
}

bool LogFile::rotate() {
    torn_ = false;
    if (rename(path_.c_str(), (path_ + ".1").c_str()) == 0) {
        return open();
    }
    // The directory lets nothing be renamed. The limit matters more than the old records.
    return ftruncate(descriptor_, 0) == 0;
}

bool LogFile::open() {
    const int opened = openFile(path_.c_str(), accessMode(path_));
    if (opened < 0 || !adopt(opened)) {
        return fail(errno);
    }
    error_ = 0;
    reported_ = false;
    return true;
}

// Moves `opened` to the number in use.
bool LogFile::adopt(int opened) {
    if (descriptor_ < 0) {
        descriptor_ = opened;
        return true;
    }
    int moved = 0;
    do {
        moved = dup3(opened, descriptor_, O_CLOEXEC);
    } while (moved < 0 && (errno == EINTR || errno == EBUSY));
    const int saved = errno;
    close(opened);
    errno = saved;
    return moved >= 0;
}

// Gives up the file: late records are lost. Says so once, and waits for the next try.
bool LogFile::fail(int error) {
    const int nothing = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nothing >= 0) {
        adopt(nothing);
    }
    if (!reported_) {
        reported_ = true;
        std::fprintf(stderr, "can't open the log file %s: %s\n", path_.c_str(),
                     std::strerror(error));
    }
    nextAttempt_ = monotonicSeconds() + kReopenSeconds;
    error_ = error;
    errno = error;
    return false;
}

}  // namespace ostrel::log
