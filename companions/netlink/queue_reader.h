#pragma once

// The classes of htb that limit stations, as the kernel has them.
//
// Threads: one at a time.

#include <cstdint>
#include <functional>
#include <string>

#include "netlink/set_reader.h"

namespace companion {

// The major number of a root, by which it is known as redirectord's.
enum class QueueRoot : std::uint16_t { toStations = 0x7e51, fromStations = 0x7e52 };

// A class below a root, as a packet's priority names it.
constexpr std::uint32_t classId(QueueRoot root, std::uint16_t minor) {
    return static_cast<std::uint32_t>(root) << 16U | minor;
}

struct QueueClass {
    std::uint32_t id = 0;
    std::uint64_t wireBytesPerSecond = 0;
    // What left the queue, without link headers. Of a packet that the device cuts into frames each
    // frame counts, with the headers that it gets.
    Traffic sent;
};

class QueueReader {
public:
    using Each = std::function<void(const QueueClass&)>;

    QueueReader() : socket_(NETLINK_ROUTE) {}

    // Hands on the classes below redirectord's roots on a device. 0, or what errno would say.
    [[nodiscard]] int read(const std::string& device, const Each& each);
    // What one class has sent; nothing when it is not there.
    [[nodiscard]] Traffic sent(const std::string& device, std::uint32_t id);

private:
    int ask(const std::string& device, unsigned int flags, std::uint32_t id, const Each& each);

    NetlinkSocket socket_;
};

}  // namespace companion
