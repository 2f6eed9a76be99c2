#include "netlink/set_reader.h"

#include <linux/netfilter.h>
#include <linux/netfilter/nf_tables.h>
#include <linux/netfilter/nfnetlink.h>

namespace companion {
namespace {

constexpr unsigned int type(unsigned int message) {
    return NFNL_SUBSYS_NFTABLES << 8 | message;
}

// The value of a key, of a number or of a verdict's chain.
void readData(const nlattr& data, std::string_view& value, std::string_view* chain) {
    forEachAttribute(data, [&](const nlattr& part) {
        if (mnl_attr_get_type(&part) == NFTA_DATA_VALUE) {
            value = bytesOf(part);
        } else if (mnl_attr_get_type(&part) == NFTA_DATA_VERDICT && chain != nullptr) {
            forEachAttribute(part, [&](const nlattr& one) {
                if (mnl_attr_get_type(&one) == NFTA_VERDICT_CHAIN) {
                    *chain = textOf(one);
                }
            });
        }
    });
}

// The numbers of a counter travel in network order.
std::uint64_t bigEndian(const nlattr& attribute) {
    std::array<std::uint8_t, 8> bytes{};
    std::uint64_t number = 0;
    if (readAttribute(attribute, bytes)) {
        for (const std::uint8_t byte : bytes) {
            number = number << 8 | byte;
        }
    }
    return number;
}

void readCounter(const nlattr& expression, std::optional<Traffic>& counter) {
    bool isCounter = false;
    forEachAttribute(expression, [&](const nlattr& part) {
        if (mnl_attr_get_type(&part) == NFTA_EXPR_NAME) {
            isCounter = textOf(part) == "counter";
        } else if (mnl_attr_get_type(&part) == NFTA_EXPR_DATA && isCounter) {
            counter.emplace();
            forEachAttribute(part, [&](const nlattr& number) {
                if (mnl_attr_get_type(&number) == NFTA_COUNTER_BYTES) {
                    counter->bytes = bigEndian(number);
                } else if (mnl_attr_get_type(&number) == NFTA_COUNTER_PACKETS) {
                    counter->packets = bigEndian(number);
                }
            });
        }
    });
}

// An element has one expression, or a list of several.
SetElement elementIn(const nlattr& attribute) {
    SetElement element;
    std::string_view number;
    forEachAttribute(attribute, [&](const nlattr& part) {
        switch (mnl_attr_get_type(&part)) {
            case NFTA_SET_ELEM_KEY:
                readData(part, element.key, nullptr);
                break;
            case NFTA_SET_ELEM_DATA:
                readData(part, number, &element.chain);
                break;
            case NFTA_SET_ELEM_EXPR:
                readCounter(part, element.counter);
                break;
            case NFTA_SET_ELEM_EXPRESSIONS:
                forEachAttribute(part,
                                 [&](const nlattr& one) { readCounter(one, element.counter); });
                break;
            default:
                break;
        }
    });
    if (number.size() == sizeof element.number) {
        number.copy(reinterpret_cast<char*>(&element.number), sizeof element.number);
    }
    return element;
}

}  // namespace

std::uint8_t familyNumber(TableFamily family) {
    return family == TableFamily::inet ? NFPROTO_INET : NFPROTO_NETDEV;
}

void readElements(const nlmsghdr& message, const EachElement& each) {
    if (message.nlmsg_type != type(NFT_MSG_NEWSETELEM)) {
        return;
    }
    forEachAttribute(message, sizeof(nfgenmsg), [&](const nlattr& attribute) {
        if (mnl_attr_get_type(&attribute) == NFTA_SET_ELEM_LIST_ELEMENTS) {
            forEachAttribute(attribute, [&](const nlattr& one) { each(elementIn(one)); });
        }
    });
}

AnswerEnd SetReader::read(TableFamily family, const char* set, int tries, const EachElement& each) {
    NetlinkRequest request(type(NFT_MSG_GETSETELEM), NLM_F_DUMP);
    request.header<nfgenmsg>().nfgen_family = familyNumber(family);
    request.put(NFTA_SET_ELEM_LIST_TABLE, kFirewallTable);
    request.put(NFTA_SET_ELEM_LIST_SET, set);
    AnswerEnd end;
    do {
        end = socket_.ask(request, [&](const nlmsghdr& message) { readElements(message, each); });
    } while (--tries > 0 && end.error == 0 && end.interrupted);
    return end;
}

bool SetReader::tableExists() {
    NetlinkRequest request(type(NFT_MSG_GETTABLE), 0);
    request.header<nfgenmsg>().nfgen_family = NFPROTO_NETDEV;
    request.put(NFTA_TABLE_NAME, kFirewallTable);
    return socket_.order(request) == 0;
}

}  // namespace companion
