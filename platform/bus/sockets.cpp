#include "sockets.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "ostrel/addresses.h"

namespace ostrel::bus {
namespace {

std::string socketPath(const std::string& directory, std::uint32_t module) {
    return directory + "/" + std::to_string(module);
}

Fd newSocket() {
    return Fd(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
}

Fd connectToPath(const std::string& path) {
    sockaddr_un address;
    if (!unixAddress(path, address)) {
        return Fd();
    }
    Fd connected = newSocket();
    if (connected.valid() && connect(connected.get(), reinterpret_cast<const sockaddr*>(&address),
                                     sizeof address) != 0) {
        connected.reset();
    }
    return connected;
}

bool inGroup(int socket, gid_t group) {
    std::vector<gid_t> groups(64);
    auto bytes = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
    int result = getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &bytes);
    if (result != 0 && errno == ERANGE) {
        groups.resize(bytes / sizeof(gid_t));
        result = getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &bytes);
    }
    if (result != 0) {
        return false;
    }
    groups.resize(bytes / sizeof(gid_t));
    return std::find(groups.begin(), groups.end(), group) != groups.end();
}

}  // namespace

Peer peerOf(int socket, const std::string& directory) {
    ucred credentials{};
    socklen_t bytes = sizeof credentials;
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &bytes) != 0) {
        return Peer{};
    }
    Peer peer{credentials.pid, credentials.uid, false, false};
    if (peer.user == 0 || peer.user == geteuid()) {
        peer.welcome = true;
        peer.trusted = true;
        return peer;
    }
    struct stat status {};
    peer.welcome = stat(directory.c_str(), &status) == 0 &&
                   (credentials.gid == status.st_gid || inGroup(socket, status.st_gid));
    return peer;
}

Fd connectTo(const std::string& directory, std::uint32_t module) {
    return connectToPath(socketPath(directory, module));
}

ListeningSocket::ListeningSocket(const std::string& directory, std::uint32_t module, int backlog)
    : path_(socketPath(directory, module)) {
    if (!makeDirectories(directory, 0750)) {
        throw std::runtime_error("can't make the bus directory " + directory + ": " +
                                 std::strerror(errno));
    }
    clearThePlace();
    bindAndListen(directory, backlog);
}

ListeningSocket::~ListeningSocket() {
    struct stat status {};
    if (lstat(path_.c_str(), &status) == 0 && status.st_dev == device_ && status.st_ino == inode_) {
        unlink(path_.c_str());
    }
}

bool ListeningSocket::lost() const {
    struct stat status {};
    return lstat(path_.c_str(), &status) != 0 && errno == ENOENT;
}

void ListeningSocket::clearThePlace() const {
    const Fd connected = connectToPath(path_);
    if (connected.valid() || errno == EAGAIN) {
        throw std::runtime_error("another process listens on the bus socket " + path_);
    }
    struct stat status {};
    if (lstat(path_.c_str(), &status) == 0 && S_ISSOCK(status.st_mode)) {
        unlink(path_.c_str());
    }
}

void ListeningSocket::bindAndListen(const std::string& directory, int backlog) {
    sockaddr_un address;
    if (!unixAddress(path_, address)) {
        fail("name");
    }
    socket_ = newSocket();
    // The file takes the mode of the unbound socket, less the umask. So it is never open to more
    // users than in the end.
    if (!socket_.valid() || fchmod(socket_.get(), 0660) != 0 ||
        bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        fail("make");
    }
    struct stat own {};
    struct stat parent {};
    if (lstat(path_.c_str(), &own) != 0 || stat(directory.c_str(), &parent) != 0) {
        fail("find");
    }
    device_ = own.st_dev;
    inode_ = own.st_ino;
    if (own.st_gid != parent.st_gid &&
        lchown(path_.c_str(), static_cast<uid_t>(-1), parent.st_gid) != 0) {
        report(LogLevel::warning, "bus: can't give %s to group %u: %s", path_.c_str(),
               static_cast<unsigned>(parent.st_gid), std::strerror(errno));
    }
    if (chmod(path_.c_str(), 0660) != 0) {
        fail("open");
    }
    if (listen(socket_.get(), std::max(backlog, 1)) != 0) {
        fail("listen on");
    }
}

void ListeningSocket::fail(const char* what) const {
    throw std::runtime_error(std::string("can't ") + what + " the bus socket " + path_ + ": " +
                             std::strerror(errno));
}

}  // namespace ostrel::bus
