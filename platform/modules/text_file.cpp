#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "ostrel/modules.h"
#include "ostrel/mutex.h"
#include "server.h"

namespace ostrel {
namespace {

using modules::Deadline;
using modules::Health;

// How long to wait for a server whose backlog is full.
constexpr std::chrono::milliseconds kConnectBound{250};

void writeOnce(const char* path, int fd, const std::string& text) {
    if (write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        report(LogLevel::debug, "%s: a command was not taken: %s", path, std::strerror(errno));
    }
}

// The server that stands in for one of the files.
class TextServer {
public:
    TextServer(const char* path, const char* name) : path_(path), name_(name), health_(path) {}

    bool write(const std::string& text) EXCLUDES(mutex_);
    [[nodiscard]] bool standsFor(const char* path) const { return std::strcmp(path, path_) == 0; }

private:
    bool resting() EXCLUDES(mutex_);
    void settle(bool connected, int error) EXCLUDES(mutex_);

    const char* path_;
    const char* name_;
    Mutex mutex_;
    Health health_ GUARDED_BY(mutex_);
};

bool TextServer::write(const std::string& text) {
    if (resting()) {
        errno = EIO;
        return false;
    }
    // Without the lock, so that other threads do not wait too.
    const Fd fd =
        modules::connectServer(modules::serverDirectory() + "/" + name_, Deadline(kConnectBound));
    const int error = errno;
    settle(fd.valid(), error);
    if (!fd.valid()) {
        errno = error;
        return false;
    }
    if (send(fd.get(), text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT) < 0) {
        report(LogLevel::debug, "%s: a command was not taken: %s", path_, std::strerror(errno));
    }
    return true;
}

bool TextServer::resting() {
    const MutexLock lock(mutex_);
    return health_.resting();
}

// The caller reports a server that is not there.
void TextServer::settle(bool connected, int error) {
    const MutexLock lock(mutex_);
    if (connected) {
        health_.good();
    } else if (error == EIO) {
        health_.silent();
    }
}

TextServer* serverFor(const char* path) {
    // Never destroyed: a command may come while the process ends.
    static TextServer* const servers[] = {new TextServer(kShaperPath, "shaper"),
                                          new TextServer(kWifiAuthPath, "wifi-auth")};
    for (TextServer* server : servers) {
        if (server->standsFor(path)) {
            return server;
        }
    }
    return nullptr;
}

}  // namespace

bool writeModuleFile(const char* path, const std::string& text) {
    const Fd file(open(path, O_WRONLY | O_TRUNC | O_CLOEXEC | O_NOCTTY));
    if (file.valid()) {
        writeOnce(path, file.get(), text);
        return true;
    }
    TextServer* const server = errno == ENOENT ? serverFor(path) : nullptr;
    return server != nullptr && server->write(text);
}

}  // namespace ostrel
