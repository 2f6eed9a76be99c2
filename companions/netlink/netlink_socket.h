#pragma once

// A netlink socket that asks and reads the whole answer, or hears what the kernel tells by itself.
//
// Threads: one at a time. A socket works in the network namespace in which it was made.

#include <libmnl/libmnl.h>

#include <algorithm>
#include <array>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "ostrel/runtime.h"

namespace companion {

// How an answer ended: `error` is 0 or what errno would say. After `interrupted` the table changed
// while it was read: something may be missing or come twice.
struct AnswerEnd {
    int error = 0;
    bool interrupted = false;
};

// A request that is being put together. What does not fit is left out: mnl_attr_put_check().
class NetlinkRequest {
public:
    // `flags` beyond NLM_F_REQUEST.
    NetlinkRequest(unsigned int type, unsigned int flags);
    NetlinkRequest(const NetlinkRequest&) = delete;
    NetlinkRequest& operator=(const NetlinkRequest&) = delete;

    // Room for a header of the protocol behind netlink's own, zeroed.
    template <typename Header>
    Header& header() {
        return *static_cast<Header*>(mnl_nlmsg_put_extra_header(message_, sizeof(Header)));
    }
    void put(unsigned int type, const void* bytes, std::size_t count);
    void put(unsigned int type, const char* text);
    void putU32(unsigned int type, std::uint32_t hostOrder);
    // The attributes that follow stand inside this one until endNest().
    nlattr* beginNest(unsigned int type);
    void endNest(nlattr* nest);

    [[nodiscard]] nlmsghdr& message() { return *message_; }
    [[nodiscard]] std::string_view bytes() const {
        return {reinterpret_cast<const char*>(message_), message_->nlmsg_len};
    }

private:
    alignas(nlmsghdr) std::array<char, 1024> buffer_{};
    nlmsghdr* message_;
};

class NetlinkSocket {
public:
    using Handler = std::function<void(const nlmsghdr&)>;

    // `protocol` as of socket(): NETLINK_ROUTE, ...; `groups` is the mask of multicast groups.
    // Throws std::system_error when there is none.
    explicit NetlinkSocket(int protocol, unsigned int groups = 0);

    [[nodiscard]] int fd() const { return mnl_socket_get_fd(socket_.get()); }

    // Sends `request` and calls `handler` with each message of the answer, to its end. Takes two
    // seconds of silence at the most.
    [[nodiscard]] AnswerEnd ask(NetlinkRequest& request, const Handler& handler);
    // The same for an order, which is only confirmed: 0, or what errno would say.
    [[nodiscard]] int order(NetlinkRequest& request);

    // Sends messages without waiting for an answer. 0, or what errno would say.
    [[nodiscard]] int send(std::string_view messages);
    // Hands on what can be read now, in at most `reads` turns; an error message like any other. 0,
    // or what errno said in the last turn (EAGAIN: there is no more; ENOBUFS: some were lost).
    int drain(int reads, const Handler& handler);

private:
    struct Close {
        void operator()(mnl_socket* socket) const { mnl_socket_close(socket); }
    };

    // False when the answer has come to its end.
    bool readMessages(std::size_t bytes, const Handler& handler, AnswerEnd& end);

    std::unique_ptr<mnl_socket, Close> socket_;
    std::vector<char> buffer_;
    unsigned int sequence_ = 0;
};

// Visits the messages in `bytes` bytes from `first` on, until `visit` gives false. Stops at one
// that passes the end; mnl_nlmsg_ok() takes a length above 2 GiB for a short one.
template <typename Visit>
void forEachMessage(const void* first, std::size_t bytes, const Visit& visit) {
    const auto* message = static_cast<const nlmsghdr*>(first);
    while (bytes >= sizeof *message && message->nlmsg_len >= sizeof *message &&
           message->nlmsg_len <= bytes && visit(*message)) {
        const std::size_t step = NLMSG_ALIGN(std::size_t{message->nlmsg_len});
        bytes -= std::min(bytes, step);
        message = reinterpret_cast<const nlmsghdr*>(reinterpret_cast<const char*>(message) + step);
    }
}

// Visits the attributes in `bytes` bytes from `first` on. Stops at one that passes the end.
template <typename Visit>
void forEachAttribute(const void* first, std::size_t bytes, const Visit& visit) {
    const auto* attribute = static_cast<const nlattr*>(first);
    auto left = static_cast<int>(bytes);
    while (mnl_attr_ok(attribute, left)) {
        visit(*attribute);
        left -= MNL_ALIGN(attribute->nla_len);
        attribute = mnl_attr_next(attribute);
    }
}

// The attributes of `message` behind a header of `headerBytes`, a multiple of 4.
template <typename Visit>
void forEachAttribute(const nlmsghdr& message, std::size_t headerBytes, const Visit& visit) {
    const std::size_t bytes = mnl_nlmsg_get_payload_len(&message);
    if (bytes >= headerBytes) {
        forEachAttribute(mnl_nlmsg_get_payload_offset(&message, headerBytes), bytes - headerBytes,
                         visit);
    }
}

// The attributes inside another one.
template <typename Visit>
void forEachAttribute(const nlattr& parent, const Visit& visit) {
    forEachAttribute(mnl_attr_get_payload(&parent), mnl_attr_get_payload_len(&parent), visit);
}

// The header behind netlink's own, when the message is long enough for it; else null.
template <typename Header>
const Header* headerOf(const nlmsghdr& message) {
    return mnl_nlmsg_get_payload_len(&message) >= sizeof(Header)
               ? static_cast<const Header*>(mnl_nlmsg_get_payload(&message))
               : nullptr;
}

// Copies the attribute's bytes into `value`, which has as many or fewer. False when it has less.
template <typename Value>
[[nodiscard]] bool readAttribute(const nlattr& attribute, Value& value) {
    if (mnl_attr_get_payload_len(&attribute) < sizeof value) {
        return false;
    }
    std::copy_n(static_cast<const char*>(mnl_attr_get_payload(&attribute)), sizeof value,
                reinterpret_cast<char*>(&value));
    return true;
}

inline std::string_view bytesOf(const nlattr& attribute) {
    return {static_cast<const char*>(mnl_attr_get_payload(&attribute)),
            mnl_attr_get_payload_len(&attribute)};
}

// A text without its terminating zero.
inline std::string_view textOf(const nlattr& attribute) {
    const std::string_view bytes = bytesOf(attribute);
    return bytes.substr(0, bytes.find('\0'));
}

}  // namespace companion
