#include "redirectord/shaper_queues.h"

#include <linux/if_link.h>
#include <linux/pkt_sched.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "ostrel/runtime.h"

namespace redirectord {
namespace {

constexpr const char* kHtb = "htb";
constexpr std::uint16_t kDefaultMinor = 0x7fff;
constexpr std::uint32_t kDefaultQueuePackets = 1000;
// 100 Gbit/s: no device of an access point is faster. A class and not htb's own unclassified queue,
// which is served before all classes: a full uplink would starve the limited stations.
constexpr std::uint64_t kUnlimited = 12'500'000'000;
constexpr std::uint32_t kFrame = 1514;

// htb counts whole frames; a limit is meant for what a download shows. Of a full frame 96 % are
// payload of TCP over IPv4, 94 % over IPv6, and all but 1 % IP.
std::uint64_t onTheWire(std::uint32_t bytesPerSecond) {
    return bytesPerSecond == 0 ? kUnlimited : std::uint64_t{bytesPerSecond} * 103 / 100;
}
std::uint32_t ofDownloads(std::uint64_t wireBytesPerSecond) {
    if (wireBytesPerSecond == kUnlimited) {
        return 0;
    }
    return static_cast<std::uint32_t>((wireBytesPerSecond * 100 + 102) / 103);
}

// The queue of a class, in bytes: a quarter of a second, because TCP needs that much to keep a slow
// class busy, or a twentieth, where that has room for a packet as large as the kernel joins them
// (64 KB). Much more than half of TCP's initial window makes it send twice at 128 kbit/s. A longer
// queue is no better: what is lost at its end holds up what follows for as long as the queue is.
std::uint32_t queueBytes(std::uint32_t bytesPerSecond) {
    constexpr std::uint32_t kUnlimitedQueue = 1'500'000;
    constexpr std::uint32_t kShortest = 10'000;
    constexpr std::uint32_t kJoinedPacket = 70'000;
    const std::uint32_t slow = std::clamp(bytesPerSecond / 4, kShortest, kJoinedPacket);
    return bytesPerSecond == 0 ? kUnlimitedQueue : std::max(slow, bytesPerSecond / 20);
}

// What a class may send at once: two frames, or two milliseconds, so that a late timer costs
// nothing. The kernel takes it as time, in units of 64 ns.
std::uint32_t burstTicks(std::uint64_t wireBytesPerSecond) {
    constexpr std::uint64_t kTwoMilliseconds = 2'000'000;
    const std::uint64_t frames = 2 * std::uint64_t{kFrame} * 1'000'000'000 / wireBytesPerSecond;
    return static_cast<std::uint32_t>(
        std::min<std::uint64_t>(std::max(frames, kTwoMilliseconds) / 64, UINT32_MAX));
}

// A request with room for its attributes.
class Request {
public:
    Request(std::uint16_t type, std::uint16_t flags, int device, std::uint32_t parent,
            std::uint32_t handle)
        : header_(mnl_nlmsg_put_header(space_.data())) {
        header_->nlmsg_type = type;
        header_->nlmsg_flags = static_cast<std::uint16_t>(NLM_F_REQUEST | flags);
        auto* const tc = static_cast<tcmsg*>(mnl_nlmsg_put_extra_header(header_, sizeof(tcmsg)));
        tc->tcm_family = AF_UNSPEC;
        tc->tcm_ifindex = device;
        tc->tcm_parent = parent;
        tc->tcm_handle = handle;
    }
    nlmsghdr* get() { return header_; }

private:
    alignas(nlmsghdr) NetlinkBuffer space_{};
    nlmsghdr* header_;
};

// The attribute of a type; one without bytes when it is missing.
NetlinkAttribute attributeIn(std::string_view all, std::uint16_t type) {
    NetlinkAttribute found;
    eachAttribute(all, [&](const NetlinkAttribute& one) {
        if (one.type == type) {
            found = one;
        }
    });
    return found;
}

// The kind of a discipline or class, without its terminating zero.
std::string kindIn(std::string_view attributes) {
    const std::string_view bytes = attributeIn(attributes, TCA_KIND).bytes;
    return std::string(bytes.substr(0, bytes.find('\0')));
}

// Bytes a second of a class.
std::uint64_t wireSpeedIn(std::string_view attributes) {
    const std::string_view options = attributeIn(attributes, TCA_OPTIONS).bytes;
    const auto wide = attributeIn(options, TCA_HTB_RATE64).as<std::uint64_t>();
    return wide != 0 ? wide : attributeIn(options, TCA_HTB_PARMS).as<tc_htb_opt>().rate.rate;
}

int indexOf(const std::string& device) {
    return static_cast<int>(if_nametoindex(device.c_str()));
}

}  // namespace

int ShaperQueues::makeRoot(const std::string& device, QueueRoot root) {
    const int index = indexOf(device);
    if (index == 0) {
        return ENODEV;
    }
    // Exclusive: what the kernel made by itself is replaced, what somebody made is not.
    Request wanted(RTM_NEWQDISC, NLM_F_ACK | NLM_F_CREATE | NLM_F_EXCL, index, TC_H_ROOT,
                   classId(root, 0));
    mnl_attr_put_strz(wanted.get(), TCA_KIND, kHtb);
    nlattr* const options = mnl_attr_nest_start(wanted.get(), TCA_OPTIONS);
    tc_htb_glob global{};
    global.version = 3;
    global.rate2quantum = 10;
    global.defcls = kDefaultMinor;
    mnl_attr_put(wanted.get(), TCA_HTB_INIT, sizeof global, &global);
    mnl_attr_put_u32(wanted.get(), TCA_HTB_DIRECT_QLEN, kDefaultQueuePackets);
    mnl_attr_nest_end(wanted.get(), options);
    int error = netlink_.request(wanted.get());
    if (error == EEXIST) {
        bool ours = false;
        error = forEachRoot([&](int where, const std::string& kind, std::uint32_t handle) {
            ours = ours || (where == index && kind == kHtb && handle == classId(root, 0));
        });
        if (error == 0 && !ours) {
            return EEXIST;
        }
    }
    constexpr std::uint32_t kLargestQuantum = 60'000;
    const std::uint32_t id = classId(root, kDefaultMinor);
    return error != 0 ? error : putClass(index, id, kUnlimited, kLargestQuantum);
}

std::string ShaperQueues::rootText(const std::string& device) {
    const int index = indexOf(device);
    std::string text;
    const int error = forEachRoot([&](int where, const std::string& kind, std::uint32_t handle) {
        if (where == index) {
            char number[16];
            std::snprintf(number, sizeof number, " %x:", handle >> 16U);
            text = kind + number;
        }
    });
    return error == 0 ? text : "";
}

int ShaperQueues::forEachRoot(
    const std::function<void(int, const std::string&, std::uint32_t)>& root) {
    Request all(RTM_GETQDISC, NLM_F_DUMP, 0, 0, 0);
    return netlink_.request(all.get(), [&root](const nlmsghdr* header) {
        const auto* const tc = static_cast<const tcmsg*>(mnl_nlmsg_get_payload(header));
        if (header->nlmsg_type == RTM_NEWQDISC && mnl_nlmsg_get_payload_len(header) >= sizeof *tc &&
            tc->tcm_parent == TC_H_ROOT && tc->tcm_handle != 0) {
            root(tc->tcm_ifindex, kindIn(attributesOf(header, sizeof *tc)), tc->tcm_handle);
        }
    });
}

int ShaperQueues::setClass(const std::string& device, QueueRoot root, std::uint16_t minor,
                           std::uint32_t bytesPerSecond) {
    const int index = indexOf(device);
    if (index == 0) {
        return ENODEV;
    }
    // Whoever competes on a device that is slower than all limits together gets by its limit.
    const std::uint32_t quantum =
        bytesPerSecond == 0 ? 30'000 : std::clamp(bytesPerSecond / 1000, 2 * kFrame, 30'000U);
    const std::uint32_t id = classId(root, minor);
    const int error = putClass(index, id, onTheWire(bytesPerSecond), quantum);
    return error != 0 ? error : putQueue(index, id, bytesPerSecond);
}

int ShaperQueues::putClass(int device, std::uint32_t id, std::uint64_t wireBytesPerSecond,
                           std::uint32_t quantum) {
    Request wanted(RTM_NEWTCLASS, NLM_F_ACK | NLM_F_CREATE, device, TC_H_MAJ(id), id);
    mnl_attr_put_strz(wanted.get(), TCA_KIND, kHtb);
    nlattr* const options = mnl_attr_nest_start(wanted.get(), TCA_OPTIONS);
    tc_htb_opt parameters{};
    parameters.rate.rate =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(wireBytesPerSecond, UINT32_MAX));
    parameters.rate.linklayer = TC_LINKLAYER_ETHERNET;  // no table of rates is needed
    parameters.ceil = parameters.rate;
    parameters.buffer = burstTicks(wireBytesPerSecond);
    parameters.cbuffer = parameters.buffer;
    parameters.quantum = quantum;
    mnl_attr_put(wanted.get(), TCA_HTB_PARMS, sizeof parameters, &parameters);
    mnl_attr_put_u64(wanted.get(), TCA_HTB_RATE64, wireBytesPerSecond);
    mnl_attr_put_u64(wanted.get(), TCA_HTB_CEIL64, wireBytesPerSecond);
    mnl_attr_nest_end(wanted.get(), options);
    return netlink_.request(wanted.get());
}

int ShaperQueues::putQueue(int device, std::uint32_t id, std::uint32_t bytesPerSecond) {
    Request wanted(RTM_NEWQDISC, NLM_F_ACK | NLM_F_CREATE | NLM_F_REPLACE, device, id, id << 16U);
    nlmsghdr* const header = wanted.get();
    mnl_attr_put_strz(header, TCA_KIND, fairQueues_ ? "fq_codel" : "bfifo");
    if (!fairQueues_) {
        const tc_fifo_qopt limit{queueBytes(bytesPerSecond)};
        mnl_attr_put(header, TCA_OPTIONS, sizeof limit, &limit);
        return netlink_.request(header);
    }
    // Below a few Mbit/s a frame takes longer than the usual target of 5 ms.
    const auto frameTime =
        static_cast<std::uint32_t>(1'500'000ULL * kFrame / onTheWire(bytesPerSecond));
    nlattr* const options = mnl_attr_nest_start(header, TCA_OPTIONS);
    mnl_attr_put_u32(header, TCA_FQ_CODEL_TARGET, std::max(5'000U, frameTime));
    mnl_attr_put_u32(header, TCA_FQ_CODEL_INTERVAL, 95'000U + std::max(5'000U, frameTime));
    mnl_attr_put_u32(header, TCA_FQ_CODEL_MEMORY_LIMIT, 4 * queueBytes(bytesPerSecond));
    mnl_attr_put_u32(header, TCA_FQ_CODEL_FLOWS, 64);
    mnl_attr_nest_end(header, options);
    if (const int error = netlink_.request(header); error != ENOENT && error != EINVAL) {
        return error;
    }
    fairQueues_ = false;
    return putQueue(device, id, bytesPerSecond);
}

std::map<std::uint16_t, std::uint32_t> ShaperQueues::classes(const std::string& device,
                                                             QueueRoot root) {
    std::map<std::uint16_t, std::uint32_t> found;
    Request all(RTM_GETTCLASS, NLM_F_DUMP, indexOf(device), 0, 0);
    const int error = netlink_.request(all.get(), [&found, root](const nlmsghdr* header) {
        const auto* const tc = static_cast<const tcmsg*>(mnl_nlmsg_get_payload(header));
        if (header->nlmsg_type != RTM_NEWTCLASS || mnl_nlmsg_get_payload_len(header) < sizeof *tc ||
            TC_H_MAJ(tc->tcm_handle) != classId(root, 0)) {
            return;
        }
        const auto minor = static_cast<std::uint16_t>(TC_H_MIN(tc->tcm_handle));
        const std::string_view attributes = attributesOf(header, sizeof *tc);
        if (kindIn(attributes) == kHtb && minor >= 1 && minor <= kHighestMinor) {
            found[minor] = ofDownloads(wireSpeedIn(attributes));
        }
    });
    if (error != 0 && error != ENODEV) {
        ostrel::report(ostrel::LogLevel::error, "the queues of %s can't be read: %s",
                       device.c_str(), std::strerror(error));
    }
    return found;
}

int ShaperQueues::removeRoots() {
    std::map<int, std::uint32_t> ours;
    const int error =
        forEachRoot([&ours](int device, const std::string& kind, std::uint32_t handle) {
            if (kind == kHtb && (handle == classId(QueueRoot::toStations, 0) ||
                                 handle == classId(QueueRoot::fromStations, 0))) {
                ours[device] = handle;
            }
        });
    int failed = error;
    for (const auto& [device, handle] : ours) {
        Request unwanted(RTM_DELQDISC, NLM_F_ACK, device, TC_H_ROOT, handle);
        const int result = netlink_.request(unwanted.get());
        failed = failed != 0 ? failed : result;
    }
    return failed;
}

std::string ShaperQueues::network(const std::string& device) {
    alignas(nlmsghdr) NetlinkBuffer space{};
    nlmsghdr* const header = mnl_nlmsg_put_header(space.data());
    header->nlmsg_type = RTM_GETLINK;
    header->nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK;
    auto* const link =
        static_cast<ifinfomsg*>(mnl_nlmsg_put_extra_header(header, sizeof(ifinfomsg)));
    link->ifi_family = AF_UNSPEC;
    link->ifi_index = indexOf(device);
    std::uint32_t above = 0;
    const int error = netlink_.request(header, [&above](const nlmsghdr* answer) {
        above =
            attributeIn(attributesOf(answer, sizeof(ifinfomsg)), IFLA_MASTER).as<std::uint32_t>();
    });
    std::array<char, IF_NAMESIZE> name{};
    const bool bridged = error == 0 && above != 0 && if_indextoname(above, name.data()) != nullptr;
    return bridged ? name.data() : device;
}

}  // namespace redirectord
