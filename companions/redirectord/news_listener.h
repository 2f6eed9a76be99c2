#pragma once

// Packets that announce stations, as the kernel's log (NFLOG) delivers them.
//
// Threads: the one that runs the event loop.

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "common/event_loop.h"
#include "netlink/netlink_socket.h"
#include "redirectord/stations.h"

namespace redirectord {

// What a log message says of its packet.
struct LoggedPacket {
    int device = 0;  // index of the device by which it came
    ostrel::MacBytes source{};
    in_addr ip{};  // of the sender; 0.0.0.0 when it is not IPv4 or ARP
};

// Reads the attributes of a message of NFLOG, which begin behind its netlink and netfilter headers.
// Nothing when it lacks the device or the hardware header, or is damaged.
std::optional<LoggedPacket> readLoggedPacket(std::string_view attributes);

class NewsListener {
public:
    using Receiver = std::function<void(const std::vector<LoggedPacket>&)>;

    // Takes kNewsGroup, which makes this process the only redirectord of the network namespace.
    // Throws std::runtime_error when another one has it, std::system_error when the system refuses.
    explicit NewsListener(companion::EventLoop& loop);
    ~NewsListener();
    NewsListener(const NewsListener&) = delete;
    NewsListener& operator=(const NewsListener&) = delete;

    // Hands on what is logged from now on.
    void start(Receiver receiver);

private:
    void bind();
    void read();
    void noteLoss();

    companion::EventLoop& loop_;
    Receiver receiver_;
    companion::NetlinkSocket netlink_;
    std::uint64_t losses_ = 0;
    companion::EventLoop::Clock::time_point nextReport_{};
};

}  // namespace redirectord
