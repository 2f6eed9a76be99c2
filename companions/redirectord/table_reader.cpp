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

// The bytes of the attribute of this type; empty when there is none.
std::string_view partOf(std::string_view attributes, std::uint16_t type) {
    std::string_view part;
    eachAttribute(attributes, [&part, type](const NetlinkAttribute& one) {
        if (one.type == type) {
            part = one.bytes;
        }
    });
    return part;
}

std::uint32_t markIn(std::string_view data) {
    return NetlinkAttribute{NFTA_DATA_VALUE, partOf(data, NFTA_DATA_VALUE)}.as<std::uint32_t>();
}

std::string_view chainIn(std::string_view data) {
    const std::string_view name = partOf(partOf(data, NFTA_DATA_VERDICT), NFTA_VERDICT_CHAIN);
    return name.substr(0, name.find('\0'));
}

}  // namespace

template <typename EachData>
int TableReader::dump(const char* set, EachData each) {
    alignas(nlmsghdr) NetlinkBuffer space;
    nlmsghdr* const message = putHeader(space, NFT_MSG_GETSETELEM, NLM_F_DUMP);
    mnl_attr_put_strz(message, NFTA_SET_ELEM_LIST_TABLE, kTable);
    mnl_attr_put_strz(message, NFTA_SET_ELEM_LIST_SET, set);
    return netlink_.request(message, [&each](const nlmsghdr* part) {
        const std::string_view attributes = attributesOf(part, sizeof(nfgenmsg));
        eachAttribute(partOf(attributes, NFTA_SET_ELEM_LIST_ELEMENTS),
                      [&each](const NetlinkAttribute& element) {
                          const std::string_view key = partOf(element.bytes, NFTA_SET_ELEM_KEY);
                          each(partOf(key, NFTA_DATA_VALUE),
                               partOf(element.bytes, NFTA_SET_ELEM_DATA));
                      });
    });
}

int TableReader::list(const char* set, const Each& each) {
    return dump(set,
                [&each](std::string_view key, std::string_view data) { each(key, markIn(data)); });
}

int TableReader::listJumps(const char* map, const EachJump& each) {
    return dump(map,
                [&each](std::string_view key, std::string_view data) { each(key, chainIn(data)); });
}

bool TableReader::tableExists() {
    alignas(nlmsghdr) NetlinkBuffer space;
    nlmsghdr* const message = putHeader(space, NFT_MSG_GETTABLE, NLM_F_ACK);
    mnl_attr_put_strz(message, NFTA_TABLE_NAME, kTable);
    return netlink_.request(message) == 0;
}

}  // namespace redirectord
