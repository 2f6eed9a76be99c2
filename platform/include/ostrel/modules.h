#pragma once

// The way to the kernel modules. Each opening takes the real /proc file or netlink socket when the
// kernel has the module. Otherwise it takes a user-space module server under <runtime>/modules/
// (docs/modules.md). With neither it fails as the system call would. The callers see no difference.
//
// Threads: everything may be called from any thread; a ModuleControl serialises its requests.
// Nothing waits longer than one second. A server that did not answer in that time is left alone for
// a while: a request fails at once with EIO meanwhile.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
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
    // Issues one request. `argument` is its record, or null when it has none; it stays the caller's
    // and is filled when the module answers with one. 0; the module's error number when it refused;
    // -1, with errno set, when the module was not reached: EIO when a server gave no answer within
    // one second. After a lost connection, a request first makes a new one.
    // If there ever was a request 13, the last one is sent again there, before anything else.
    virtual int request(unsigned long number, void* argument) = 0;
    // Notices a lost connection while nothing is requested, and makes a new one as request() does.
    // True once after each new connection, whoever made it: the module then knows of request 13,
    // but perhaps of no other request so far. Never true before a request 13.
    virtual bool renewed() = 0;
};

// The bytes that a request to the redirector takes along, and those that its answer brings behind
// the result. For whoever asks, and for the servers that stand in for the module.
struct RequestSizes {
    std::size_t argument;
    std::size_t answer;
};
// Nothing for a number that is no request.
[[nodiscard]] std::optional<RequestSizes> requestSizes(unsigned long number);

// Opens the redirector's control file. The caller owns it. Never null: while there is no module and
// no server, every request fails with ENOENT; once a server has appeared, requests reach it.
std::unique_ptr<ModuleControl> openRedirector();

// Opens the socket on which the redirector announces stations to `processId`: each datagram is a
// header of 16 bytes and the payload. Invalid, with errno set, when it can't be opened.
[[nodiscard]] Fd openNotifications(std::uint32_t processId);

// Whether a server can reach the socket that openNotifications() gave: its file is there. Always
// true with the kernel's module.
[[nodiscard]] bool notificationsReachable(const Fd& notifications, std::uint32_t processId);

// Opens, writes and closes one of the text files, as one command; `path` is kShaperPath or
// kWifiAuthPath. 0; the error number when the module did not take the command; -1, with errno set,
// when the file can't be opened: ENOENT when there is neither file nor server, EIO when a server
// took no connection.
[[nodiscard]] int writeModuleFile(const char* path, const std::string& text);

// Tells whether the module behind one of the text files is the one that was there before: a number
// that another one does not have. 0 when there is none.
[[nodiscard]] std::uint64_t moduleFileIdentity(const char* path);

}  // namespace ostrel
