#pragma once

// Network namespaces of a test's own, and traffic between them.
//
// Threads: NetNamespace::inside() moves the calling thread for the length of a call; sockets and
// children that are made there stay there.

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

#include "ostrel/runtime.h"
#include "platform/support.h"

namespace vesta::testing {

// Makes this process root of namespaces of its own. False where the system allows it neither to
// root nor through user namespaces. Call it while the process has one thread.
inline bool enterOwnNamespaces() {
    static const bool entered = [] {
        const uid_t user = getuid();
        const gid_t group = getgid();
        if (unshare(CLONE_NEWNET | CLONE_NEWNS) != 0) {
            if (unshare(CLONE_NEWUSER | CLONE_NEWNET | CLONE_NEWNS) != 0) {
                return false;
            }
            ostrel::testing::writeFile("/proc/self/setgroups", "deny");
            ostrel::testing::writeFile("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
            ostrel::testing::writeFile("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
        }
        // The files of /proc/sys/net and /sys are those of the namespace in which they are mounted.
        return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    }();
    return entered;
}

// A network namespace that lives as long as the object and what was made in it. Loopback is up.
class NetNamespace {
public:
    NetNamespace() {
        const ostrel::Fd before = current();
        if (unshare(CLONE_NEWNET) != 0) {
            throw std::runtime_error("no network namespace");
        }
        fd_ = current();
        // Without duplicate address detection an address serves at once.
        command("sysctl -qw net.ipv6.conf.default.accept_dad=0 && ip link set lo up");
        enter(before);
    }

    [[nodiscard]] int fd() const { return fd_.get(); }

    // Calls `work` in the namespace; its result.
    template <typename Work>
    auto inside(Work work) const {
        struct Return {
            ostrel::Fd before = current();
            ~Return() { enter(before); }
        } back;
        enter(fd_);
        return work();
    }
    // Runs a command of the shell in the namespace. Throws std::runtime_error when it fails.
    void run(const std::string& words) const {
        inside([&words] { command(words); });
    }
    // What a command prints.
    [[nodiscard]] std::string output(const std::string& words) const {
        return inside([&words] {
            FILE* const stream = popen(words.c_str(), "re");
            std::string text;
            char buffer[4096];
            for (std::size_t count; (count = fread(buffer, 1, sizeof buffer, stream)) > 0;) {
                text.append(buffer, count);
            }
            pclose(stream);
            return text;
        });
    }

private:
    static ostrel::Fd current() {
        return ostrel::Fd(open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC));
    }
    static void enter(const ostrel::Fd& fd) {
        if (setns(fd.get(), CLONE_NEWNET) != 0) {
            std::abort();  // all that follows would hit another network
        }
    }
    static void command(const std::string& words) {
        if (std::system(words.c_str()) != 0) {
            throw std::runtime_error("failed: " + words);
        }
    }

    ostrel::Fd fd_;
};

// An address of either family and a port.
struct Endpoint {
    sockaddr_storage storage{};
    socklen_t size = 0;

    Endpoint(const std::string& address, std::uint16_t port) {
        auto* const v4 = reinterpret_cast<sockaddr_in*>(&storage);
        auto* const v6 = reinterpret_cast<sockaddr_in6*>(&storage);
        if (inet_pton(AF_INET, address.c_str(), &v4->sin_addr) == 1) {
            v4->sin_family = AF_INET;
            v4->sin_port = htons(port);
            size = sizeof *v4;
        } else if (inet_pton(AF_INET6, address.c_str(), &v6->sin6_addr) == 1) {
            v6->sin6_family = AF_INET6;
            v6->sin6_port = htons(port);
            size = sizeof *v6;
        } else {
            throw std::runtime_error("no address: " + address);
        }
    }
    [[nodiscard]] const sockaddr* get() const {
        return reinterpret_cast<const sockaddr*>(&storage);
    }
};

inline bool readableWithin(int fd, std::chrono::milliseconds bound) {
    pollfd waited{fd, POLLIN, 0};
    return poll(&waited, 1, static_cast<int>(bound.count())) == 1;
}

// A socket in `where` that is bound to the address and, with SOCK_STREAM, listens.
inline ostrel::Fd serverSocket(const NetNamespace& where, int type, const std::string& address,
                               std::uint16_t port) {
    return where.inside([&] {
        const Endpoint endpoint(address, port);
        ostrel::Fd fd(socket(endpoint.storage.ss_family, type | SOCK_CLOEXEC, 0));
        const int on = 1;
        setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        if (bind(fd.get(), endpoint.get(), endpoint.size) != 0 ||
            (type == SOCK_STREAM && listen(fd.get(), 64) != 0)) {
            throw std::runtime_error("no server at " + address + ": " + std::strerror(errno));
        }
        return fd;
    });
}

// A TCP connection from `where`; errno of the attempt: 0, ECONNREFUSED after a reset, EHOSTUNREACH
// and the like after an ICMP message, ETIMEDOUT when nothing came.
struct Connection {
    ostrel::Fd fd;
    int error = 0;
};

inline Connection connectFrom(const NetNamespace& where, const std::string& address,
                              std::uint16_t port,
                              std::chrono::milliseconds bound = std::chrono::milliseconds(2000)) {
    return where.inside([&] {
        const Endpoint endpoint(address, port);
        Connection made;
        made.fd.reset(
            socket(endpoint.storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        if (connect(made.fd.get(), endpoint.get(), endpoint.size) != 0 && errno != EINPROGRESS) {
            made.error = errno;
            return made;
        }
        pollfd waited{made.fd.get(), POLLOUT, 0};
        socklen_t size = sizeof made.error;
        if (poll(&waited, 1, static_cast<int>(bound.count())) != 1) {
            made.error = ETIMEDOUT;
        } else {
            getsockopt(made.fd.get(), SOL_SOCKET, SO_ERROR, &made.error, &size);
        }
        return made;
    });
}

// Sends one UDP datagram from `where`, and waits for an answer: 0 when one came, else as above.
inline int askFrom(const NetNamespace& where, const std::string& address, std::uint16_t port,
                   std::chrono::milliseconds bound = std::chrono::milliseconds(500)) {
    return where.inside([&] {
        const Endpoint endpoint(address, port);
        const ostrel::Fd fd(socket(endpoint.storage.ss_family, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        char buffer[64] = "?";
        if (connect(fd.get(), endpoint.get(), endpoint.size) != 0 ||
            send(fd.get(), buffer, 1, 0) != 1) {
            return errno;
        }
        if (!readableWithin(fd.get(), bound)) {
            return ETIMEDOUT;
        }
        return recv(fd.get(), buffer, sizeof buffer, 0) >= 0 ? 0 : errno;
    });
}

}  // namespace vesta::testing
