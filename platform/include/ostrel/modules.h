#pragma once

// The way to the kernel modules. Each opening takes the real /proc file or netlink socket where the
// kernel has the module, and otherwise a user-space module server under <runtime>/modules/
// (docs/modules.md); with neither it fails as the system call would. Above this library nobody
// knows the difference.
//
// Threads: everything may be called from any thread; a ModuleControl serialises its requests.
// Nothing waits longer than one second, and a server that has kept somebody waiting in vain is left
// alone for a while: what is asked meanwhile fails at once with EIO.

#include <cstdint>
#include <memory>
#include <string>

#include "ostrel/runtime.h"

namespace ostrel {

inline constexpr const char* kRedirectorPath = "/proc/ostrel-redirector";
inline constexpr const char* kShaperPath = "/proc/ostrel-shaper";
inline constexpr const char* kWifiAuthPath = "/proc/ostrel-wifi-auth";
inline constexpr int kNotifyProtocol = 19;  // netlink protocol of the redirector's notifications

// An opened control file.
class ModuleControl {
public:
    virtual ~ModuleControl() = default;
    // Issues one request: `argument` is the record of that request (null where it has none), and is
    // filled where the module answers with one. 0, or -1 with errno set; EIO when a server gave no
    // answer within one second. After a loss, a request first makes a new connection; on it the
    // last request 13, if there was one, goes out before anything else.
    virtual int request(unsigned long number, void* argument) = 0;
    // Looks after the way to the module while nothing is requested: a loss is noticed, and made
    // good as above. True once after each time that a module was reached anew, here or by a
    // request: but for request 13 it may know nothing of what was requested before. Never true
    // before a request 13.
    virtual bool renewed() = 0;
};

// Opens the redirector's control file. Never null: where nothing is there, every request fails with
// ENOENT, and one that comes after a server has appeared reaches it.
std::unique_ptr<ModuleControl> openRedirector();

// Opens the socket on which the redirector announces stations to `processId`: each datagram is a
// header of 16 bytes and the payload. Invalid, with errno set, when there is none to be had.
[[nodiscard]] Fd openNotifications(std::uint32_t processId);

// Opens, writes and closes one of the text files (`path` is kShaperPath or kWifiAuthPath) as one
// command. False, with errno set, when it can't be opened; a failed write is not told, as the
// modules take or ignore a command as a whole.
[[nodiscard]] bool writeModuleFile(const char* path, const std::string& text);

}  // namespace ostrel
