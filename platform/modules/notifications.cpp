#include <linux/netlink.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "ostrel/addresses.h"
#include "ostrel/modules.h"
#include "server.h"

namespace ostrel {
namespace {

namespace fs = std::filesystem;

constexpr int kSocketFlags = SOCK_NONBLOCK | SOCK_CLOEXEC;
// The kernel accounts a small datagram with up to 2 KiB, and thousands of stations may come at
// once.
constexpr int kReceiveBuffer = 8 * 1024 * 1024;
constexpr const char* kPrefix = "notify-";

// Invalid when the kernel has no such module, or the module no such protocol.
Fd netlinkSocket() {
    if (access(kRedirectorPath, F_OK) != 0) {
        return Fd();
    }
    return Fd(socket(AF_NETLINK, SOCK_RAW | kSocketFlags, kNotifyProtocol));
}

bool bindNetlink(const Fd& fd, std::uint32_t processId) {
    // SO_RCVBUFFORCE passes net.core.rmem_max, but needs a privilege.
    if (setsockopt(fd.get(), SOL_SOCKET, SO_RCVBUFFORCE, &kReceiveBuffer, sizeof kReceiveBuffer) !=
        0) {
        setsockopt(fd.get(), SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof kReceiveBuffer);
    }
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_pid = processId;
    return bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

// True when no process has the socket at `path` any more.
bool isOrphan(const std::string& path) {
    sockaddr_un address;
    const Fd probe(socket(AF_UNIX, SOCK_DGRAM | kSocketFlags, 0));
    return probe.valid() && unixAddress(path, address) &&
           connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 &&
           errno == ECONNREFUSED;
}

// A daemon that is killed leaves its socket file behind; the next one clears it away.
void removeOrphans(const std::string& directory) {
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(directory, ignored)) {
        const bool notify = entry.path().filename().string().rfind(kPrefix, 0) == 0;
        if (notify && isOrphan(entry.path().string())) {
            unlink(entry.path().c_str());
        }
    }
}

std::string notifyPath(std::uint32_t processId) {
    return modules::serverDirectory() + "/" + kPrefix + std::to_string(processId);
}

Fd serverSocket(std::uint32_t processId) {
    const std::string directory = modules::serverDirectory();
    const std::string path = notifyPath(processId);
    sockaddr_un address;
    if (!makeDirectories(directory, 0750) || !unixAddress(path, address)) {
        return Fd();
    }
    removeOrphans(directory);
    unlink(path.c_str());
    Fd fd(socket(AF_UNIX, SOCK_DGRAM | kSocketFlags, 0));
    if (fd.valid() &&
        (bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
         chmod(path.c_str(), 0660) != 0)) {
        fd.reset();
    }
    return fd;
}

}  // namespace

Fd openNotifications(std::uint32_t processId) {
    Fd fd = netlinkSocket();
    if (!fd.valid()) {
        return serverSocket(processId);
    }
    if (!bindNetlink(fd, processId)) {
        fd.reset();
    }
    return fd;
}

bool notificationsReachable(const Fd& notifications, std::uint32_t processId) {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    const bool isServers =
        getsockname(notifications.get(), reinterpret_cast<sockaddr*>(&address), &length) == 0 &&
        address.ss_family == AF_UNIX;
    return !isServers || access(notifyPath(processId).c_str(), F_OK) == 0;
}

}  // namespace ostrel
