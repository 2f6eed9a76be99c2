#include "mac_flood.h"

#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>

#include <array>

namespace vesta::bench {
namespace {

constexpr std::size_t kAtOnce = 64;
constexpr std::size_t kSourceMac = 6;
constexpr std::size_t kSourceIp = 26;

// A datagram without content to everybody (RFC 791, RFC 768); MAC and address of the sender are
// still open.
using Frame = std::array<std::uint8_t, 42>;
constexpr Frame kBroadcast = {0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0, 0, 0, 0,  0, 0, 8, 0,
                              0x45, 0,    0,    28,   0,    0,    0, 0, 9, 17, 0, 0, 0, 0,
                              0,    0,    0xff, 0xff, 0xff, 0xff, 0, 9, 0, 9,  0, 8, 0, 0};

}  // namespace

MacFlood::MacFlood(const testing::SimulatedStation& station) {
    station.space.inside([this] {
        socket_.reset(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0));
        sockaddr_ll device{};
        device.sll_family = AF_PACKET;
        device.sll_ifindex = static_cast<int>(if_nametoindex("eth0"));
        const int on = 1;
        if (bind(socket_.get(), reinterpret_cast<const sockaddr*>(&device), sizeof device) != 0 ||
            setsockopt(socket_.get(), SOL_PACKET, PACKET_QDISC_BYPASS, &on, sizeof on) != 0) {
            throw std::runtime_error("no raw frames");
        }
    });
    sender_ = std::thread([this] { send(); });
}

MacFlood::~MacFlood() {
    ending_ = true;
    sender_.join();
}

void MacFlood::send() {
    std::array<Frame, kAtOnce> frames;
    std::array<iovec, kAtOnce> parts;
    std::array<mmsghdr, kAtOnce> messages{};
    frames.fill(kBroadcast);
    for (std::size_t i = 0; i < kAtOnce; ++i) {
        parts[i] = {frames[i].data(), frames[i].size()};
        messages[i].msg_hdr.msg_iov = &parts[i];
        messages[i].msg_hdr.msg_iovlen = 1;
    }
    for (std::uint32_t number = 1; !ending_;) {
        for (Frame& frame : frames) {
            const std::array<std::uint8_t, 6> mac{2,
                                                  0xf1,
                                                  static_cast<std::uint8_t>(number >> 24U),
                                                  static_cast<std::uint8_t>(number >> 16U),
                                                  static_cast<std::uint8_t>(number >> 8U),
                                                  static_cast<std::uint8_t>(number)};
            std::copy(mac.begin(), mac.end(), &frame[kSourceMac]);
            std::copy(mac.begin() + 2, mac.end(), &frame[kSourceIp]);
            ++number;
        }
        const int count = sendmmsg(socket_.get(), messages.data(), kAtOnce, 0);
        sent_ += static_cast<std::size_t>(std::max(count, 0));
    }
}

}  // namespace vesta::bench
