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

class Request : public companion::NetlinkRequest {
public:
    Request(unsigned int type, unsigned int flags, int device, std::uint32_t parent,
            std::uint32_t handle)
        : NetlinkRequest(type, flags) {
        auto& tc = header<tcmsg>();
        tc.tcm_ifindex = device;
        tc.tcm_parent = parent;
        tc.tcm_handle = handle;
    }
    template <typename Value>
    void putValue(unsigned int type, const Value& value) {
        put(type, &value, sizeof value);
    }
};

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
    Request wanted(RTM_NEWQDISC, NLM_F_CREATE | NLM_F_EXCL, index, TC_H_ROOT, classId(root, 0));
    wanted.put(TCA_KIND, kHtb);
    nlattr* const options = wanted.beginNest(TCA_OPTIONS);
    tc_htb_glob global{};
    global.version = 3;
    global.rate2quantum = 10;
    global.defcls = kDefaultMinor;
    wanted.putValue(TCA_HTB_INIT, global);
    wanted.putU32(TCA_HTB_DIRECT_QLEN, kDefaultQueuePackets);
    wanted.endNest(options);
    int error = netlink_.order(wanted);
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
    const auto read = [&root](const nlmsghdr& message) {
        const auto* const tc = companion::headerOf<tcmsg>(message);
        if (message.nlmsg_type != RTM_NEWQDISC || tc == nullptr || tc->tcm_parent != TC_H_ROOT ||
            tc->tcm_handle == 0) {
            return;
        }
        companion::forEachAttribute(message, sizeof *tc, [&](const nlattr& one) {
            if (mnl_attr_get_type(&one) == TCA_KIND) {
                root(tc->tcm_ifindex, std::string(companion::textOf(one)), tc->tcm_handle);
            }
        });
    };
    return netlink_.ask(all, read).error;
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
    Request wanted(RTM_NEWTCLASS, NLM_F_CREATE, device, TC_H_MAJ(id), id);
    wanted.put(TCA_KIND, kHtb);
    nlattr* const options = wanted.beginNest(TCA_OPTIONS);
    tc_htb_opt parameters{};
    parameters.rate.rate =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(wireBytesPerSecond, UINT32_MAX));
    parameters.rate.linklayer = TC_LINKLAYER_ETHERNET;  // no table of rates is needed
    parameters.ceil = parameters.rate;
    parameters.buffer = burstTicks(wireBytesPerSecond);
    parameters.cbuffer = parameters.buffer;
    parameters.quantum = quantum;
    wanted.putValue(TCA_HTB_PARMS, parameters);
    wanted.putValue(TCA_HTB_RATE64, wireBytesPerSecond);
    wanted.putValue(TCA_HTB_CEIL64, wireBytesPerSecond);
    wanted.endNest(options);
    return netlink_.order(wanted);
}

int ShaperQueues::putQueue(int device, std::uint32_t id, std::uint32_t bytesPerSecond) {
    Request wanted(RTM_NEWQDISC, NLM_F_CREATE | NLM_F_REPLACE, device, id, id << 16U);
    wanted.put(TCA_KIND, fairQueues_ ? "fq_codel" : "bfifo");
    if (!fairQueues_) {
        wanted.putValue(TCA_OPTIONS, tc_fifo_qopt{queueBytes(bytesPerSecond)});
        return netlink_.order(wanted);
    }
    // Below a few Mbit/s a frame takes longer than the usual target of 5 ms.
    const auto frameTime =
        static_cast<std::uint32_t>(1'500'000ULL * kFrame / onTheWire(bytesPerSecond));
    nlattr* const options = wanted.beginNest(TCA_OPTIONS);
    wanted.putU32(TCA_FQ_CODEL_TARGET, std::max(5'000U, frameTime));
    wanted.putU32(TCA_FQ_CODEL_INTERVAL, 95'000U + std::max(5'000U, frameTime));
    wanted.putU32(TCA_FQ_CODEL_MEMORY_LIMIT, 4 * queueBytes(bytesPerSecond));
    wanted.putU32(TCA_FQ_CODEL_FLOWS, 64);
    wanted.endNest(options);
    if (const int error = netlink_.order(wanted); error != ENOENT && error != EINVAL) {
        return error;
    }
    fairQueues_ = false;
    return putQueue(device, id, bytesPerSecond);
}

std::map<std::uint16_t, std::uint32_t> ShaperQueues::classes(const std::string& device,
                                                             QueueRoot root) {
    std::map<std::uint16_t, std::uint32_t> found;
    const int error = reader_.read(device, [&found, root](const companion::QueueClass& one) {
        const auto minor = static_cast<std::uint16_t>(TC_H_MIN(one.id));
        if (one.id == classId(root, minor) && minor >= 1 && minor <= kHighestMinor) {
            found[minor] = ofDownloads(one.wireBytesPerSecond);
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
        Request unwanted(RTM_DELQDISC, 0, device, TC_H_ROOT, handle);
        const int result = netlink_.order(unwanted);
        failed = failed != 0 ? failed : result;
    }
    return failed;
}

std::string ShaperQueues::network(const std::string& device) {
    companion::NetlinkRequest request(RTM_GETLINK, NLM_F_ACK);
    request.header<ifinfomsg>().ifi_index = indexOf(device);
    std::uint32_t above = 0;
    const auto read = [&above](const nlmsghdr& answer) {
        companion::forEachAttribute(answer, sizeof(ifinfomsg), [&above](const nlattr& one) {
            if (mnl_attr_get_type(&one) == IFLA_MASTER) {
                static_cast<void>(!companion::readAttribute(one, above));
            }
        });
    };
    const int error = netlink_.ask(request, read).error;
    std::array<char, IF_NAMESIZE> name{};
    const bool bridged = error == 0 && above != 0 && if_indextoname(above, name.data()) != nullptr;
    return bridged ? name.data() : device;
}

}  // namespace redirectord
