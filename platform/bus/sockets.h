#pragma once

// The sockets of the bus: who may use them, how one is made and how one is reached. `directory` is
// <runtime>/bus.
//
// Threads: the functions keep no state; a ListeningSocket belongs to its maker.

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "ostrel/runtime.h"

namespace ostrel::bus {

// Who is at the other end of a connected socket.
struct Peer {
    pid_t process = 0;
    uid_t user = 0;
    // root, our own user, or in the group that owns the bus directory (primary or supplementary)
    bool welcome = false;
    // root or our own user: may configure us, and be one of the modules that we obey
    bool trusted = false;
};
[[nodiscard]] Peer peerOf(int socket, const std::string& directory);

// A non-blocking connection to the socket of `module`; invalid, with errno set, when nobody listens
// there or the backlog is full.
[[nodiscard]] Fd connectTo(const std::string& directory, std::uint32_t module);

// The socket file of one module, listening, non-blocking: mode 0660, of the directory's group. The
// file goes with the object, unless it was replaced meanwhile.
class ListeningSocket {
public:
    // Makes the directory (0750) where it is missing and takes over a file that nobody listens on.
    // Throws std::runtime_error, naming the path, when that can't be done.
    ListeningSocket(const std::string& directory, std::uint32_t module, int backlog);
    ~ListeningSocket();
    ListeningSocket(const ListeningSocket&) = delete;
    ListeningSocket& operator=(const ListeningSocket&) = delete;

    [[nodiscard]] int fd() const { return socket_.get(); }
    // The file is not there any more, so nobody can connect.
    [[nodiscard]] bool lost() const;

private:
    void clearThePlace() const;
    void bindAndListen(const std::string& directory, int backlog);
    [[noreturn]] void fail(const char* what) const;

    std::string path_;
    Fd socket_;
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

}  // namespace ostrel::bus
