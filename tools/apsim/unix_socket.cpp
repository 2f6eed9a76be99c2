#include "apsim/unix_socket.h"

#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace apsim {

namespace {

// False, with errno set, when the path is too long for a socket.
bool fillAddress(const std::string& path, sockaddr_un& address) {
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return false;
    }
    path.copy(address.sun_path, path.size());
    return true;
}

const sockaddr* generic(const sockaddr_un& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

}  // namespace

std::runtime_error systemError(const std::string& text) {
    return std::runtime_error(text + ": " + std::strerror(errno));
}

ostrel::Fd listenAt(const std::string& path, int backlog) {
    sockaddr_un address{};
    if (!fillAddress(path, address)) {
        throw systemError("can't listen at " + path);
    }
    if (connectTo(path, SOCK_SEQPACKET).valid()) {
        throw std::runtime_error("can't listen at " + path + ": another server does");
    }
    unlink(path.c_str());
    ostrel::Fd fd(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!fd.valid() || bind(fd.get(), generic(address), sizeof address) != 0 ||
        listen(fd.get(), backlog) != 0) {
        throw systemError("can't listen at " + path);
    }
    return fd;
}

ostrel::Fd connectTo(const std::string& path, int type) {
    sockaddr_un address{};
    ostrel::Fd fd(socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
    if (!fd.valid() || !fillAddress(path, address) ||
        connect(fd.get(), generic(address), sizeof address) != 0) {
        fd.reset();
    }
    return fd;
}

}  // namespace apsim
