#include "redirectord/element_batch.h"

#include <arpa/inet.h>
#include <libmnl/libmnl.h>
#include <linux/netfilter.h>
#include <linux/netfilter/nf_tables.h>
#include <linux/netfilter/nfnetlink.h>
#include <linux/netlink.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

namespace redirectord {
namespace {

// Above any operation: headers, three names of at most 256 bytes, a key, a time.
constexpr std::size_t kRoom = 1024;
// The kernel takes a batch as one message. Root may make the socket's buffer larger than the
// system's limit for everybody.
constexpr int kLongestBatch = 4 << 20;

nlmsghdr* putHeader(char* at, std::uint8_t family, std::uint16_t resource) {
    nlmsghdr* const header = mnl_nlmsg_put_header(at);
    auto* const extra =
        static_cast<nfgenmsg*>(mnl_nlmsg_put_extra_header(header, sizeof(nfgenmsg)));
    extra->nfgen_family = family;
    extra->version = NFNETLINK_V0;
    extra->res_id = htons(resource);
    return header;
}

std::uint64_t bigEndian(std::uint64_t number) {
    const std::uint32_t high = htonl(static_cast<std::uint32_t>(number >> 32U));
    const std::uint32_t low = htonl(static_cast<std::uint32_t>(number));
    const std::array<std::uint32_t, 2> words{high, low};
    std::uint64_t result = 0;
    std::memcpy(&result, words.data(), sizeof result);
    return result;
}

void putValue(nlmsghdr* header, std::uint16_t type, const void* data, std::size_t size) {
    nlattr* const nest = mnl_attr_nest_start(header, type);
    mnl_attr_put(header, NFTA_DATA_VALUE, size, data);
    mnl_attr_nest_end(header, nest);
}

}  // namespace

ElementBatch::ElementBatch(TableFamily family)
    : family_(family), socket_(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_NETFILTER)) {
    if (!socket_.valid()) {
        throw std::system_error(errno, std::generic_category(), "no netlink to the packet filter");
    }
    setsockopt(socket_.get(), SOL_SOCKET, SO_SNDBUFFORCE, &kLongestBatch, sizeof kLongestBatch);
}

void ElementBatch::mark(std::uint16_t type) {
    bytes_.resize(size_ + kRoom);
    nlmsghdr* const header = putHeader(bytes_.data() + size_, AF_UNSPEC, NFNL_SUBSYS_NFTABLES);
    header->nlmsg_type = type;
    header->nlmsg_flags = NLM_F_REQUEST;
    header->nlmsg_seq = ++sequence_;
    size_ += header->nlmsg_len;
}

template <class Put>
void ElementBatch::append(std::uint16_t type, const std::string& set, std::string_view key,
                          Put put) {
    if (size_ == 0) {
        mark(NFNL_MSG_BATCH_BEGIN);
    }
    bytes_.resize(size_ + kRoom + set.size() + key.size());
    nlmsghdr* const header = putHeader(bytes_.data() + size_, companion::familyNumber(family_), 0);
    header->nlmsg_type = static_cast<std::uint16_t>(NFNL_SUBSYS_NFTABLES << 8U | type);
    header->nlmsg_flags = NLM_F_REQUEST | (type == NFT_MSG_NEWSETELEM ? NLM_F_CREATE : 0);
    header->nlmsg_seq = ++sequence_;
    mnl_attr_put_strz(header, NFTA_SET_ELEM_LIST_TABLE, companion::kFirewallTable);
    mnl_attr_put_strz(header, NFTA_SET_ELEM_LIST_SET, set.c_str());
    nlattr* const list = mnl_attr_nest_start(header, NFTA_SET_ELEM_LIST_ELEMENTS);
    nlattr* const element = mnl_attr_nest_start(header, NFTA_LIST_ELEM);
    putValue(header, NFTA_SET_ELEM_KEY, key.data(), key.size());
    put(header);
    mnl_attr_nest_end(header, element);
    mnl_attr_nest_end(header, list);
    size_ += header->nlmsg_len;
    ++operations_;
}

void ElementBatch::add(const std::string& set, std::string_view key) {
    append(NFT_MSG_NEWSETELEM, set, key, [](nlmsghdr*) {});
}

void ElementBatch::addFor(const std::string& set, std::string_view key,
                          std::chrono::milliseconds life) {
    append(NFT_MSG_NEWSETELEM, set, key, [life](nlmsghdr* header) {
        mnl_attr_put_u64(header, NFTA_SET_ELEM_TIMEOUT,
                         bigEndian(static_cast<std::uint64_t>(life.count())));
    });
}

void ElementBatch::addMark(const std::string& map, std::string_view key, std::uint32_t mark) {
    append(NFT_MSG_NEWSETELEM, map, key,
           [mark](nlmsghdr* header) { putValue(header, NFTA_SET_ELEM_DATA, &mark, sizeof mark); });
}

void ElementBatch::addClass(const std::string& map, std::string_view key, std::uint32_t id,
                            const companion::Traffic& counted) {
    append(NFT_MSG_NEWSETELEM, map, key, [&](nlmsghdr* header) {
        putValue(header, NFTA_SET_ELEM_DATA, &id, sizeof id);
        nlattr* const expression = mnl_attr_nest_start(header, NFTA_SET_ELEM_EXPR);
        mnl_attr_put_strz(header, NFTA_EXPR_NAME, "counter");
        nlattr* const data = mnl_attr_nest_start(header, NFTA_EXPR_DATA);
        mnl_attr_put_u64(header, NFTA_COUNTER_BYTES, bigEndian(counted.bytes));
        mnl_attr_put_u64(header, NFTA_COUNTER_PACKETS, bigEndian(counted.packets));
        mnl_attr_nest_end(header, data);
        mnl_attr_nest_end(header, expression);
    });
}

void ElementBatch::addJump(const std::string& map, std::string_view key, const std::string& chain) {
    append(NFT_MSG_NEWSETELEM, map, key, [&chain](nlmsghdr* header) {
        nlattr* const data = mnl_attr_nest_start(header, NFTA_SET_ELEM_DATA);
        nlattr* const verdict = mnl_attr_nest_start(header, NFTA_DATA_VERDICT);
        mnl_attr_put_u32(header, NFTA_VERDICT_CODE, htonl(static_cast<std::uint32_t>(NFT_JUMP)));
        mnl_attr_put_strz(header, NFTA_VERDICT_CHAIN, chain.c_str());
        mnl_attr_nest_end(header, verdict);
        mnl_attr_nest_end(header, data);
    });
}

void ElementBatch::remove(const std::string& set, std::string_view key) {
    append(NFT_MSG_DELSETELEM, set, key, [](nlmsghdr*) {});
}

int ElementBatch::run() {
    if (empty()) {
        return 0;
    }
    mark(NFNL_MSG_BATCH_END);
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    const ssize_t sent = sendto(socket_.get(), bytes_.data(), size_, 0,
                                reinterpret_cast<const sockaddr*>(&kernel), sizeof kernel);
    const int error = sent < 0 ? errno : result();
    size_ = 0;
    operations_ = 0;
    bytes_.clear();
    return error;
}

// The kernel carries out a batch while it is sent, so that its errors are there now. It says
// nothing when all went well.
int ElementBatch::result() {
    int error = 0;
    alignas(nlmsghdr) std::array<char, 8192> buffer{};
    for (;;) {
        const ssize_t size = recv(socket_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (size < 0 && errno == EAGAIN) {
            return error;
        }
        if (size < 0) {
            // ENOBUFS: more errors than there was room for. The others can still be read.
            error = error != 0 ? error : errno;
            continue;
        }
        int left = static_cast<int>(size);
        for (const auto* message = reinterpret_cast<const nlmsghdr*>(buffer.data());
             mnl_nlmsg_ok(message, left); message = mnl_nlmsg_next(message, &left)) {
            if (message->nlmsg_type == NLMSG_ERROR && error == 0 &&
                mnl_nlmsg_get_payload_len(message) >= sizeof(nlmsgerr)) {
                error = -static_cast<const nlmsgerr*>(mnl_nlmsg_get_payload(message))->error;
            }
        }
    }
}

}  // namespace redirectord
