#include "redirectord/table_reader.h"

#include <linux/netfilter.h>
#include <linux/netfilter/nf_tables.h>
#include <linux/netfilter/nfnetlink.h>

namespace redirectord {
namespace {

constexpr const char* kTable = "vesta";

nlmsghdr* putHeader(NetlinkBuffer& space, int type, std::uint16_t flags) {
    nlmsghdr* const message = mnl_nlmsg_put_header(space.data());
    message->nlmsg_type = static_cast<std::uint16_t>(NFNL_SUBSYS_NFTABLES << 8 | type);
    message->nlmsg_flags = static_cast<std::uint16_t>(NLM_F_REQUEST | flags);
    auto* const generic =
        static_cast<nfgenmsg*>(mnl_nlmsg_put_extra_header(message, sizeof(nfgenmsg)));
    generic->nfgen_family = NFPROTO_NETDEV;
    generic->version = NFNETLINK_V0;
    return message;
}

std::string_view valueIn(std::string_view data) {
    std::string_view value;
    eachAttribute(data, [&value](const NetlinkAttribute& one) {
        if (one.type == NFTA_DATA_VALUE) {
            value = one.bytes;
        }
    });
    return value;
}

void readElement(std::string_view element, const TableReader::Each& each) {
    std::string_view key;
    std::uint32_t mark = 0;
    eachAttribute(element, [&](const NetlinkAttribute& one) {
        if (one.type == NFTA_SET_ELEM_KEY) {
            key = valueIn(one.bytes);
        } else if (one.type == NFTA_SET_ELEM_DATA) {
            mark = NetlinkAttribute{NFTA_DATA_VALUE, valueIn(one.bytes)}.as<std::uint32_t>();
        }
    });
    each(key, mark);
}

}  // namespace

int TableReader::list(const char* set, const Each& each) {
    alignas(nlmsghdr) NetlinkBuffer space;
    nlmsghdr* const message = putHeader(space, NFT_MSG_GETSETELEM, NLM_F_DUMP);
    mnl_attr_put_strz(message, NFTA_SET_ELEM_LIST_TABLE, kTable);
    mnl_attr_put_strz(message, NFTA_SET_ELEM_LIST_SET, set);
    return netlink_.request(message, [&each](const nlmsghdr* part) {
        eachAttribute(attributesOf(part, sizeof(nfgenmsg)), [&each](const NetlinkAttribute& list) {
            if (list.type == NFTA_SET_ELEM_LIST_ELEMENTS) {
                eachAttribute(list.bytes, [&each](const NetlinkAttribute& element) {
                    readElement(element.bytes, each);
                });
            }
        });
    });
}

bool TableReader::tableExists() {
    alignas(nlmsghdr) NetlinkBuffer space;
    nlmsghdr* const message = putHeader(space, NFT_MSG_GETTABLE, NLM_F_ACK);
    mnl_attr_put_strz(message, NFTA_TABLE_NAME, kTable);
    return netlink_.request(message) == 0;
}

}  // namespace redirectord
