#include "redirectord/news_listener.h"

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <linux/netfilter/nf_tables.h>
#include <linux/netfilter/nfnetlink.h>
#include <linux/netfilter/nfnetlink_log.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include "redirectord/ruleset.h"

namespace redirectord {
namespace {

// So many messages are read before others have their turn.
constexpr int kReadsAtOnce = 256;
// Room for a second of announcements (ruleset.cpp, "pending"), 1 KiB each with the kernel's own
// part.
constexpr int kReceiveBuffer = 4 * 1024 * 1024;
constexpr std::size_t kIpSource = 12;   // RFC 791
constexpr std::size_t kArpSender = 14;  // RFC 826, Ethernet and IPv4
constexpr std::size_t kMacSource = 6;

in_addr addressAt(std::string_view packet, std::size_t offset) {
    in_addr address{};
    if (packet.size() >= offset + sizeof address) {
        std::memcpy(&address, packet.data() + offset, sizeof address);
    }
    return address;
}

in_addr senderOf(std::uint16_t protocol, std::string_view packet) {
    return protocol == ETH_P_IP    ? addressAt(packet, kIpSource)
           : protocol == ETH_P_ARP ? addressAt(packet, kArpSender)
                                   : in_addr{};
}

// The kernel refuses a group that another has with the same EPERM as somebody without privileges;
// the latter may not ask for anything.
bool isPrivileged(companion::NetlinkSocket& netlink) {
    companion::NetlinkRequest request(NFNL_SUBSYS_NFTABLES << 8 | NFT_MSG_GETGEN, 0);
    request.header<nfgenmsg>();
    return netlink.order(request) == 0;
}

}  // namespace

std::optional<LoggedPacket> readLoggedPacket(std::string_view attributes) {
    LoggedPacket read;
    std::string_view hardware;
    std::string_view payload;
    nfulnl_msg_packet_hdr header{};
    std::uint32_t device = 0;
    companion::forEachAttribute(attributes.data(), attributes.size(), [&](const nlattr& one) {
        switch (mnl_attr_get_type(&one)) {
            case NFULA_PACKET_HDR:
                static_cast<void>(!companion::readAttribute(one, header));
                break;
            case NFULA_IFINDEX_INDEV:
                static_cast<void>(!companion::readAttribute(one, device));
                break;
            case NFULA_HWHEADER:
                hardware = companion::bytesOf(one);
                break;
            case NFULA_PAYLOAD:
                payload = companion::bytesOf(one);
                break;
            default:
                break;
        }
    });
    read.device = static_cast<int>(ntohl(device));
    if (read.device <= 0 || hardware.size() < kMacSource + read.source.size()) {
        return std::nullopt;
    }
    std::memcpy(read.source.data(), hardware.data() + kMacSource, read.source.size());
    read.ip = senderOf(ntohs(header.hw_protocol), payload);
    return read;
}

NewsListener::NewsListener(companion::EventLoop& loop) : loop_(loop), netlink_(NETLINK_NETFILTER) {
    bind();
    // Passing the system's limit takes a privilege that a user namespace does not give.
    if (setsockopt(netlink_.fd(), SOL_SOCKET, SO_RCVBUFFORCE, &kReceiveBuffer,
                   sizeof kReceiveBuffer) != 0) {
        setsockopt(netlink_.fd(), SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof kReceiveBuffer);
    }
}

void NewsListener::start(Receiver receiver) {
    receiver_ = std::move(receiver);
    loop_.whenReadable(netlink_.fd(), [this] { read(); });
}

NewsListener::~NewsListener() {
    loop_.forget(netlink_.fd());
}

void NewsListener::bind() {
    companion::NetlinkRequest request(NFNL_SUBSYS_ULOG << 8 | NFULNL_MSG_CONFIG, 0);
    request.header<nfgenmsg>().res_id = htons(kNewsGroup);
    nfulnl_msg_config_cmd command{};
    command.command = NFULNL_CFG_CMD_BIND;
    request.put(NFULA_CFG_CMD, &command, sizeof command);
    nfulnl_msg_config_mode mode{};
    mode.copy_range = htonl(64);  // the rules' snaplen holds
    mode.copy_mode = NFULNL_COPY_PACKET;
    request.put(NFULA_CFG_MODE, &mode, sizeof mode);
    // Each packet at once: a station waits for it.
    request.putU32(NFULA_CFG_QTHRESH, htonl(1));
    const int error = netlink_.order(request);
    if (error == EBUSY || (error == EPERM && isPrivileged(netlink_))) {
        throw std::runtime_error("another redirectord serves this network namespace");
    }
    if (error == EPERM) {
        throw std::runtime_error("CAP_NET_ADMIN is missing");
    }
    if (error != 0) {
        throw std::system_error(error, std::generic_category(),
                                "the kernel's packet log (nfnetlink_log) refuses");
    }
}

void NewsListener::read() {
    std::vector<LoggedPacket> packets;
    const int end = netlink_.drain(kReadsAtOnce, [&packets](const nlmsghdr& message) {
        if (message.nlmsg_type != (NFNL_SUBSYS_ULOG << 8 | NFULNL_MSG_PACKET) ||
            companion::headerOf<nfgenmsg>(message) == nullptr) {
            return;
        }
        const std::string_view bytes(static_cast<const char*>(mnl_nlmsg_get_payload(&message)),
                                     mnl_nlmsg_get_payload_len(&message));
        if (const auto packet = readLoggedPacket(bytes.substr(sizeof(nfgenmsg)))) {
            packets.push_back(*packet);
        }
    });
    if (end == ENOBUFS) {
        noteLoss();
    }
    if (!packets.empty()) {
        receiver_(packets);
    }
}

// A flood: what was lost comes again with a later packet of the station.
void NewsListener::noteLoss() {
    constexpr std::chrono::seconds kBetweenReports(10);
    ++losses_;
    const auto now = companion::EventLoop::Clock::now();
    if (now >= nextReport_) {
        nextReport_ = now + kBetweenReports;
        ostrel::report(ostrel::LogLevel::warning,
                       "more new stations than can be read: the packet log overran %llu times",
                       static_cast<unsigned long long>(losses_));
    }
}

}  // namespace redirectord
