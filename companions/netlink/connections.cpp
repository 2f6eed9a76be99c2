#include "netlink/connections.h"

#include <linux/netfilter/nfnetlink.h>
#include <linux/netfilter/nfnetlink_conntrack.h>

#include <cerrno>
#include <memory>
#include <vector>

namespace companion {
namespace {

constexpr unsigned int type(unsigned int message) {
    return NFNL_SUBSYS_CTNETLINK << 8 | message;
}

std::string bytesOf(const nlattr& attribute) {
    return {static_cast<const char*>(mnl_attr_get_payload(&attribute)),
            mnl_attr_get_payload_len(&attribute)};
}

bool tupleHas(const nlattr& tuple, const std::set<std::string>& addresses) {
    bool has = false;
    forEachAttribute(tuple, [&](const nlattr& part) {
        if (mnl_attr_get_type(&part) == CTA_TUPLE_IP) {
            forEachAttribute(part, [&](const nlattr& address) {
                has = has || addresses.count(bytesOf(address)) != 0;
            });
        }
    });
    return has;
}

// What the kernel needs to find the connection again; the id, so that it is no later one.
std::unique_ptr<NetlinkRequest> deletionOf(const nlmsghdr& message, std::uint8_t family) {
    auto deletion = std::make_unique<NetlinkRequest>(type(IPCTNL_MSG_CT_DELETE), 0);
    deletion->header<nfgenmsg>().nfgen_family = family;
    forEachAttribute(message, sizeof(nfgenmsg), [&](const nlattr& one) {
        const unsigned int kind = mnl_attr_get_type(&one);
        if (kind == CTA_TUPLE_ORIG || kind == CTA_ID || kind == CTA_ZONE) {
            const std::string bytes = bytesOf(one);
            deletion->put(kind | (kind == CTA_TUPLE_ORIG ? NLA_F_NESTED : 0U), bytes.data(),
                          bytes.size());
        }
    });
    return deletion;
}

}  // namespace

std::size_t Connections::deleteOf(const std::set<std::string>& addresses, int& error) {
    std::vector<std::unique_ptr<NetlinkRequest>> deletions;
    NetlinkRequest request(type(IPCTNL_MSG_CT_GET), NLM_F_DUMP);
    request.header<nfgenmsg>().nfgen_family = AF_UNSPEC;
    const auto examine = [&](const nlmsghdr& message) {
        bool has = false;
        forEachAttribute(message, sizeof(nfgenmsg), [&](const nlattr& one) {
            const unsigned int kind = mnl_attr_get_type(&one);
            has = has ||
                  ((kind == CTA_TUPLE_ORIG || kind == CTA_TUPLE_REPLY) && tupleHas(one, addresses));
        });
        if (has) {
            deletions.push_back(deletionOf(message, headerOf<nfgenmsg>(message)->nfgen_family));
        }
    };
    error = socket_.ask(request, examine).error;
    std::size_t deleted = 0;
    for (const auto& deletion : deletions) {
        const int failure = socket_.order(*deletion);
        deleted += failure == 0 ? 1U : 0U;
        error = failure != 0 && failure != ENOENT ? failure : error;
    }
    return deleted;
}

}  // namespace companion
