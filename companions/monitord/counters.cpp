#include "monitord/counters.h"

#include <linux/if_ether.h>
#include <linux/netfilter.h>
#include <linux/netfilter/nf_tables.h>
#include <linux/netfilter/nfnetlink.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <system_error>

namespace monitord {

using companion::AnswerEnd;
using companion::forEachAttribute;
using Extent = CounterSample::Extent;

namespace {

constexpr const char* kTable = "vesta";
constexpr unsigned int kKeyBytes = 24;
constexpr unsigned int kDeviceBytes = 16;
// Under many changes a second no dump is undisturbed, and one more costs 8 ms at 10,000 stations.
constexpr int kMostTries = 2;

bool readKey(const nlattr& key, companion::StationKey& station) {
    bool isKey = false;
    forEachAttribute(key, [&](const nlattr& value) {
        if (mnl_attr_get_type(&value) != NFTA_DATA_VALUE ||
            mnl_attr_get_payload_len(&value) != kKeyBytes) {
            return;
        }
        const auto* const bytes = static_cast<const char*>(mnl_attr_get_payload(&value));
        std::memcpy(station.device.data(), bytes, station.device.size());
        std::memcpy(station.mac.data(), bytes + kDeviceBytes, station.mac.size());
        const bool isGroup = (station.mac[0] & 1) != 0;  // nobody's own address
        isKey = !isGroup && station.device.back() == '\0' &&
                companion::isDeviceName(station.deviceName());
    });
    return isKey;
}

// The numbers of a counter travel in network order.
std::uint64_t numberOf(const nlattr& attribute) {
    std::array<std::uint8_t, 8> bytes{};
    std::uint64_t number = 0;
    if (companion::readAttribute(attribute, bytes)) {
        for (const std::uint8_t byte : bytes) {
            number = number << 8 | byte;
        }
    }
    return number;
}

bool readCounter(const nlattr& expression, Traffic& traffic) {
    bool isCounter = false;
    forEachAttribute(expression, [&](const nlattr& part) {
        if (mnl_attr_get_type(&part) == NFTA_EXPR_NAME) {
            const std::string_view name(static_cast<const char*>(mnl_attr_get_payload(&part)),
                                        mnl_attr_get_payload_len(&part));
            isCounter = name == std::string_view("counter\0", 8);
        } else if (mnl_attr_get_type(&part) == NFTA_EXPR_DATA && isCounter) {
            forEachAttribute(part, [&](const nlattr& number) {
                switch (mnl_attr_get_type(&number)) {
                    case NFTA_COUNTER_BYTES:
                        traffic.bytes = numberOf(number);
                        break;
                    case NFTA_COUNTER_PACKETS:
                        traffic.packets = numberOf(number);
                        break;
                    default:
                        break;
                }
            });
        }
    });
    return isCounter;
}

// An element has one expression, or a list of several.
void readElement(const nlattr& element, std::vector<Counted>& counters) {
    Counted counted;
    bool isStation = false;
    bool isCounted = false;
    forEachAttribute(element, [&](const nlattr& part) {
        switch (mnl_attr_get_type(&part)) {
            case NFTA_SET_ELEM_KEY:
                isStation = readKey(part, counted.station);
                break;
            case NFTA_SET_ELEM_EXPR:
                isCounted = readCounter(part, counted.traffic) || isCounted;
                break;
            case NFTA_SET_ELEM_EXPRESSIONS:
                forEachAttribute(part, [&](const nlattr& one) {
                    isCounted = readCounter(one, counted.traffic) || isCounted;
                });
                break;
            default:
                break;
        }
    });
    if (isStation && isCounted) {
        counters.push_back(counted);
    }
}

// The kernel counts what comes in without its Ethernet header, and what goes out with it.
void stripLinkHeaders(std::vector<Counted>& counters) {
    for (auto& [station, traffic] : counters) {
        traffic.bytes -= std::min(traffic.bytes, traffic.packets * ETH_HLEN);
    }
}

}  // namespace

void readCounters(const nlmsghdr& message, std::vector<Counted>& counters) {
    if (message.nlmsg_type != (NFNL_SUBSYS_NFTABLES << 8 | NFT_MSG_NEWSETELEM)) {
        return;
    }
    forEachAttribute(message, sizeof(nfgenmsg), [&](const nlattr& attribute) {
        if (mnl_attr_get_type(&attribute) == NFTA_SET_ELEM_LIST_ELEMENTS) {
            forEachAttribute(attribute,
                             [&](const nlattr& element) { readElement(element, counters); });
        }
    });
}

AnswerEnd CounterReader::readSet(const char* name, std::vector<Counted>& counters) {
    AnswerEnd end;
    for (int tries = 0; tries < kMostTries; ++tries) {
        companion::NetlinkRequest request(NFNL_SUBSYS_NFTABLES << 8 | NFT_MSG_GETSETELEM,
                                          NLM_F_DUMP);
        request.header<nfgenmsg>().nfgen_family = NFPROTO_NETDEV;
        request.put(NFTA_SET_ELEM_LIST_TABLE, kTable);
        request.put(NFTA_SET_ELEM_LIST_SET, name);
        counters.clear();
        end =
            socket_.ask(request, [&](const nlmsghdr& message) { readCounters(message, counters); });
        if (end.error != 0 || !end.interrupted) {
            break;
        }
    }
    return end;
}

CounterSample CounterReader::read() {
    CounterSample sample;
    AnswerEnd end = readSet("up", sample.up);
    if (end.error == 0) {
        const AnswerEnd other = readSet("down", sample.down);
        end.error = other.error;
        end.interrupted = end.interrupted || other.interrupted;
        stripLinkHeaders(sample.down);
    }
    if (end.error == EPERM) {
        throw std::system_error(EPERM, std::generic_category(), "the counters can't be read");
    }
    if (end.error == 0) {
        sample.extent = end.interrupted ? Extent::some : Extent::all;
    } else {
        sample.extent = end.error == ENOENT ? Extent::noTable : Extent::none;
    }
    reportChange(sample.extent, end.error);
    return sample;
}

void CounterReader::reportChange(Extent extent, int error) {
    const Extent now = extent == Extent::some ? Extent::all : extent;
    if (now == last_) {
        return;
    }
    last_ = now;
    if (now == Extent::all) {
        ostrel::report(ostrel::LogLevel::warning, "the counters are there again");
    } else {
        ostrel::report(ostrel::LogLevel::warning, "no counters in the sets of table netdev %s: %s",
                       kTable, std::strerror(error));
    }
}

}  // namespace monitord
