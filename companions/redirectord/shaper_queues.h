#pragma once

// Queueing disciplines and classes of the kernel (rtnetlink). A device that limits stations has one
// htb at its root; a class of it is one station in one direction, with a bounded queue of its own.
// All other traffic of the device goes through one class without a limit worth the name.
//
// An int is 0 or an error number. Threads: one at a time. The socket belongs to the network
// namespace in which it was made.

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "netlink/queue_reader.h"

namespace redirectord {

using companion::classId;
using companion::QueueRoot;

class ShaperQueues {
public:
    // Minor numbers of stations: from 1 to this one.
    static constexpr std::uint16_t kHighestMinor = 0x4000;

    // Throws std::system_error when there is no netlink.
    ShaperQueues() : netlink_(NETLINK_ROUTE) {}

    // Makes the root where there is none but the system's default. EEXIST when another root of
    // somebody's own making is there: it stays, and rootText() says what it is.
    [[nodiscard]] int makeRoot(const std::string& device, QueueRoot root);
    // Such as "htb 1:"; "" when the device has the default.
    [[nodiscard]] std::string rootText(const std::string& device);
    // Limits a class to `bytesPerSecond` of a download's own bytes; 0 is no limit. A class that is
    // there keeps the packets that wait in it.
    [[nodiscard]] int setClass(const std::string& device, QueueRoot root, std::uint16_t minor,
                               std::uint32_t bytesPerSecond);
    // The classes of stations that are there, with their limits.
    [[nodiscard]] std::map<std::uint16_t, std::uint32_t> classes(const std::string& device,
                                                                 QueueRoot root);
    // What a class has sent so far, also for those that had it before; without link headers.
    [[nodiscard]] companion::Traffic sent(const std::string& device, QueueRoot root,
                                          std::uint16_t minor) {
        return reader_.sent(device, classId(root, minor));
    }
    // Removes our roots from all devices.
    [[nodiscard]] int removeRoots();
    // The bridge that the device is a port of, or the device itself.
    [[nodiscard]] std::string network(const std::string& device);

private:
    [[nodiscard]] int putClass(int device, std::uint32_t id, std::uint64_t wireBytesPerSecond,
                               std::uint32_t quantum);
    [[nodiscard]] int putQueue(int device, std::uint32_t id, std::uint32_t bytesPerSecond);
    // Calls for each root of somebody's making: its device, kind and handle.
    [[nodiscard]] int forEachRoot(
        const std::function<void(int device, const std::string& kind, std::uint32_t handle)>& root);

    companion::NetlinkSocket netlink_;
    companion::QueueReader reader_;
    bool fairQueues_ = true;  // the kernel has fq_codel, as far as we know
};

}  // namespace redirectord
