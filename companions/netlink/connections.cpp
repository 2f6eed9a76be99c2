#include "netlink/connections.h"

#include <linux/netfilter/nfnetlink.h>
#include <linux/netfilter/nfnetlink_conntrack.h>

#include <cerrno>
#include <utility>

namespace companion {
namespace {

class Request : public NetlinkRequest {
public:
    Request(unsigned int message, unsigned int flags, std::uint8_t family)
        : NetlinkRequest(NFNL_SUBSYS_CTNETLINK << 8 | message, flags) {
        header<nfgenmsg>().nfgen_family = family;
    }
};

class ListRequest : public Request {
public:
    ListRequest() : Request(IPCTNL_MSG_CT_GET, NLM_F_DUMP, AF_UNSPEC) {}
};

bool tupleHas(const nlattr& tuple, const std::set<std::string>& addresses) {
    bool has = false;
    forEachAttribute(tuple, [&](const nlattr& part) {
        if (mnl_attr_get_type(&part) == CTA_TUPLE_IP) {
            forEachAttribute(part, [&](const nlattr& address) {
                has = has || addresses.count(std::string(bytesOf(address))) != 0;
            });
        }
    });
    return has;
}

}  // namespace

// What the kernel needs to find the connection again; the id, so that it is no later one.
void Connections::examine(const nlmsghdr& message) {
    const auto* const header = headerOf<nfgenmsg>(message);
    if (header == nullptr) {
        return;
    }
    Request deletion(IPCTNL_MSG_CT_DELETE, 0, header->nfgen_family);
    bool has = false;
    forEachAttribute(message, sizeof *header, [&](const nlattr& one) {
        const unsigned int kind = mnl_attr_get_type(&one);
        const bool isOriginal = kind == CTA_TUPLE_ORIG;
        has = has || ((isOriginal || kind == CTA_TUPLE_REPLY) && tupleHas(one, sought_));
        if (isOriginal || kind == CTA_ID || kind == CTA_ZONE) {
            const std::string_view bytes = bytesOf(one);
            deletion.put(kind | (isOriginal ? NLA_F_NESTED : 0U), bytes.data(), bytes.size());
        }
    });
    if (has) {
        found_.emplace_back(deletion.bytes());
    }
}

std::size_t Connections::deleteFound(int& error) {
    const auto note = [&error](const nlmsghdr& answer) {
        const auto* const code = headerOf<std::int32_t>(answer);
        // One that has ended by itself meanwhile is no trouble.
        if (answer.nlmsg_type == NLMSG_ERROR && code != nullptr && *code != -ENOENT) {
            error = -*code;
        }
    };
    for (const std::string& deletion : found_) {
        const int failure = deletions_.send(deletion);
        error = failure != 0 ? failure : error;
        deletions_.drain(2, note);  // carried out by now
    }
    sought_.clear();
    return std::exchange(found_, {}).size();
}

std::size_t Connections::deleteOf(std::set<std::string> addresses, int& error) {
    sought_ = std::move(addresses);
    ListRequest list;
    error = table_.ask(list, [this](const nlmsghdr& message) { examine(message); }).error;
    return deleteFound(error);
}

int Connections::begin(std::set<std::string> addresses) {
    sought_ = std::move(addresses);
    return table_.send(ListRequest().bytes());
}

bool Connections::readSome() {
    constexpr int kReadsAtOnce = 8;
    bool ended = false;
    const int end = table_.drain(kReadsAtOnce, [this, &ended](const nlmsghdr& message) {
        if (message.nlmsg_type == NLMSG_DONE || message.nlmsg_type == NLMSG_ERROR) {
            ended = true;
        } else {
            examine(message);
        }
    });
    if (!ended && (end == 0 || end == EAGAIN)) {
        return false;
    }
    int error = 0;
    deleteFound(error);
    return true;
}

}  // namespace companion
