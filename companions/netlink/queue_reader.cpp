#include "netlink/queue_reader.h"

#include <linux/gen_stats.h>
#include <linux/if_ether.h>
#include <linux/pkt_sched.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>

namespace companion {
namespace {

// What the kernel counts of a packet's link header on this device.
std::uint64_t headerBytes(const std::string& device) {
    const ostrel::Fd any(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ifreq request{};
    device.copy(request.ifr_name, sizeof request.ifr_name - 1);
    return ioctl(any.get(), SIOCGIFHWADDR, &request) == 0 &&
                   request.ifr_hwaddr.sa_family != ARPHRD_ETHER
               ? 0
               : ETH_HLEN;
}

void readSpeed(const nlattr& options, QueueClass& read) {
    forEachAttribute(options, [&read](const nlattr& one) {
        tc_htb_opt parameters{};
        if (mnl_attr_get_type(&one) == TCA_HTB_RATE64) {
            static_cast<void>(!readAttribute(one, read.wireBytesPerSecond));
        } else if (mnl_attr_get_type(&one) == TCA_HTB_PARMS && read.wireBytesPerSecond == 0 &&
                   readAttribute(one, parameters)) {
            read.wireBytesPerSecond = parameters.rate.rate;
        }
    });
}

void readSent(const nlattr& statistics, Traffic& sent) {
    forEachAttribute(statistics, [&sent](const nlattr& one) {
        gnet_stats_basic basic{};
        if (mnl_attr_get_type(&one) == TCA_STATS_BASIC && readAttribute(one, basic)) {
            sent.bytes = basic.bytes;
            sent.packets = sent.packets != 0 ? sent.packets : basic.packets;
        } else if (mnl_attr_get_type(&one) == TCA_STATS_PKT64) {
            static_cast<void>(!readAttribute(one, sent.packets));  // more than 2^32
        }
    });
}

bool isOurs(std::uint32_t id) {
    return TC_H_MAJ(id) == classId(QueueRoot::toStations, 0) ||
           TC_H_MAJ(id) == classId(QueueRoot::fromStations, 0);
}

}  // namespace

int QueueReader::ask(const std::string& device, unsigned int flags, std::uint32_t id,
                     const Each& each) {
    NetlinkRequest request(RTM_GETTCLASS, flags);
    auto& wanted = request.header<tcmsg>();
    wanted.tcm_ifindex = static_cast<int>(if_nametoindex(device.c_str()));
    wanted.tcm_handle = id;
    if (wanted.tcm_ifindex == 0) {
        return ENODEV;
    }
    const std::uint64_t header = headerBytes(device);
    return socket_
        .ask(request,
             [&](const nlmsghdr& message) {
                 const auto* const found = headerOf<tcmsg>(message);
                 if (message.nlmsg_type != RTM_NEWTCLASS || found == nullptr ||
                     !isOurs(found->tcm_handle)) {
                     return;
                 }
                 QueueClass read;
                 read.id = found->tcm_handle;
                 forEachAttribute(message, sizeof *found, [&read](const nlattr& one) {
                     if (mnl_attr_get_type(&one) == TCA_OPTIONS) {
                         readSpeed(one, read);
                     } else if (mnl_attr_get_type(&one) == TCA_STATS2) {
                         readSent(one, read.sent);
                     }
                 });
                 read.sent.bytes -= std::min(read.sent.bytes, read.sent.packets * header);
                 each(read);
             })
        .error;
}

int QueueReader::read(const std::string& device, const Each& each) {
    return ask(device, NLM_F_DUMP, 0, each);
}

Traffic QueueReader::sent(const std::string& device, std::uint32_t id) {
    Traffic traffic;
    const int error =
        ask(device, NLM_F_ACK, id, [&traffic](const QueueClass& found) { traffic = found.sent; });
    return error == 0 ? traffic : Traffic();
}

}  // namespace companion
