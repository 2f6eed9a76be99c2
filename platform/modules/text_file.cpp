#include <fcntl.h>
#include <sys/stat.h>
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

// The server that stands in for one of the files.
class TextServer {
public:
    TextServer(const char* path, const char* name) : path_(path), name_(name), health_(path) {}

    int write(const std::string& text) EXCLUDES(mutex_);
    [[nodiscard]] bool standsFor(const char* path) const { return std::strcmp(path, path_) == 0; }
    [[nodiscard]] std::string socketPath() const {
        return modules::serverDirectory() + "/" + name_;
    }

private:
    bool resting() EXCLUDES(mutex_);
    void settle(bool connected, int error) EXCLUDES(mutex_);

    const char* path_;
    const char* name_;
    Mutex mutex_;
    Health health_ GUARDED_BY(mutex_);
};

int TextServer::write(const std::string& text) {
    if (resting()) {
        errno = EIO;
        return -1;
    }
    // Without the lock, so that other threads do not wait too.
    const Fd fd = modules::connectServer(socketPath(), Deadline(kConnectBound));
    const int error = errno;
    settle(fd.valid(), error);
    if (!fd.valid()) {
        errno = error;
        return -1;
    }
    return send(fd.get(), text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT) < 0 ? errno : 0;
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

int writeModuleFile(const char* path, const std::string& text) {
    const Fd file(open(path, O_WRONLY | O_TRUNC | O_CLOEXEC | O_NOCTTY));
    if (file.valid()) {
        return write(file.get(), text.data(), text.size()) < 0 ? errno : 0;
    }
    TextServer* const server = errno == ENOENT ? serverFor(path) : nullptr;
    return server != nullptr ? server->write(text) : -1;
}

std::uint64_t moduleFileIdentity(const char* path) {
    struct stat file {};
    if (stat(path, &file) == 0) {
        return file.st_ino;
    }
    const TextServer* const server = serverFor(path);
    if (server == nullptr || stat(server->socketPath().c_str(), &file) != 0) {
        return 0;
    }
    // A new socket may get the number of the one before.
    return static_cast<std::uint64_t>(file.st_ino) ^
           (static_cast<std::uint64_t>(file.st_mtim.tv_sec) << 32U) ^
           static_cast<std::uint64_t>(file.st_mtim.tv_nsec);
}

}  // namespace ostrel
