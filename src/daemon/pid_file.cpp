#include "daemon/pid_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "core/logger.h"
#include "ostrel/runtime.h"

namespace vesta {
namespace {

constexpr const char* kPath = "/var/run/vestad.pid";

// Of the file that this process has written; it stays open, because its lock ends with it.
std::atomic<int> written{-1};

bool isAt(const char* path, int file) {
    struct stat there {};
    struct stat ours {};
    return lstat(path, &there) == 0 && fstat(file, &ours) == 0 && there.st_ino == ours.st_ino &&
           there.st_dev == ours.st_dev;
}

// Invalid, with errno set, when the path leads to something else than a file of our own. Nothing
// that is there makes the opening wait.
ostrel::Fd openFile() {
    ostrel::Fd file(
        open(kPath, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0644));
    struct stat status {};
    if (file.valid() && (fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))) {
        errno = EEXIST;
        file.reset();
    }
    return file;
}

bool writeProcessId(int file) {
    const std::string id = std::to_string(getpid());
    return fchmod(file, 0644) == 0 && ftruncate(file, 0) == 0 &&
           write(file, id.data(), id.size()) == static_cast<ssize_t>(id.size());
}

bool takeFile() {
    for (;;) {
        ostrel::Fd file = openFile();
        if (!file.valid()) {
            return false;
        }
        if (flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
            return false;
        }
        // Else its last owner has removed it between our opening and locking it.
        if (isAt(kPath, file.get())) {
            const bool done = writeProcessId(file.get());
            if (done) {
                written = file.release();
            }
            return done;
        }
    }
}

}  // namespace

void writePidFile() {
    if (takeFile()) {
        return;
    }
    if (errno == EWOULDBLOCK) {
        logger().Warning("PID-file(%s) is another vestad's, going on without one\n", kPath);
    } else {
        logger().Error("could not create PID-file(%s): %s\n", kPath, std::strerror(errno));
    }
}

void removePidFile() noexcept {
    if (written >= 0 && isAt(kPath, written)) {
        unlink(kPath);
    }
}

}  // namespace vesta
