#include "netlink/netlink_socket.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <system_error>

namespace companion {
namespace {

constexpr timeval kPatience{2, 0};
// The kernel fills at most so much at a time.
constexpr std::size_t kBufferBytes = 65536;

}  // namespace

NetlinkRequest::NetlinkRequest(unsigned int type, unsigned int flags)
    : message_(mnl_nlmsg_put_header(buffer_.data())) {
    message_->nlmsg_type = static_cast<std::uint16_t>(type);
    message_->nlmsg_flags = static_cast<std::uint16_t>(NLM_F_REQUEST | flags);
}

void NetlinkRequest::put(unsigned int type, const void* bytes, std::size_t count) {
    mnl_attr_put_check(message_, buffer_.size(), static_cast<std::uint16_t>(type), count, bytes);
}

void NetlinkRequest::put(unsigned int type, const char* text) {
    mnl_attr_put_strz_check(message_, buffer_.size(), static_cast<std::uint16_t>(type), text);
}

void NetlinkRequest::putU32(unsigned int type, std::uint32_t hostOrder) {
    put(type, &hostOrder, sizeof hostOrder);
}

nlattr* NetlinkRequest::beginNest(unsigned int type) {
    return mnl_attr_nest_start(message_, static_cast<std::uint16_t>(type));
}

void NetlinkRequest::endNest(nlattr* nest) {
    mnl_attr_nest_end(message_, nest);
}

NetlinkSocket::NetlinkSocket(int protocol, unsigned int groups)
    : socket_(mnl_socket_open2(protocol, SOCK_CLOEXEC)), buffer_(kBufferBytes) {
    if (socket_ == nullptr || mnl_socket_bind(socket_.get(), groups, MNL_SOCKET_AUTOPID) < 0 ||
        setsockopt(fd(), SOL_SOCKET, SO_RCVTIMEO, &kPatience, sizeof kPatience) != 0) {
        throw std::system_error(errno, std::generic_category(), "no netlink socket");
    }
}

AnswerEnd NetlinkSocket::ask(NetlinkRequest& request, const Handler& handler) {
    AnswerEnd end;
    nlmsghdr& message = request.message();
    message.nlmsg_seq = ++sequence_;
    end.error = send(request.bytes());
    if (end.error != 0) {
        return end;
    }
    while (true) {
        const ssize_t bytes = mnl_socket_recvfrom(socket_.get(), buffer_.data(), buffer_.size());
        if (bytes < 0) {
            end.error = errno == EAGAIN ? ETIMEDOUT : errno;
            return end;
        }
        if (!readMessages(static_cast<std::size_t>(bytes), handler, end)) {
            return end;
        }
    }
}

bool NetlinkSocket::readMessages(std::size_t bytes, const Handler& handler, AnswerEnd& end) {
    bool goesOn = true;
    forEachMessage(buffer_.data(), bytes, [&](const nlmsghdr& one) {
        if (one.nlmsg_seq != sequence_) {
            return true;  // of a request that was given up
        }
        end.interrupted = end.interrupted || (one.nlmsg_flags & NLM_F_DUMP_INTR) != 0;
        if (one.nlmsg_type != NLMSG_DONE && one.nlmsg_type != NLMSG_ERROR) {
            handler(one);
            return true;
        }
        const auto* const code = headerOf<std::int32_t>(one);
        end.error = code == nullptr || *code > 0 ? 0 : -*code;
        goesOn = false;
        return false;
    });
    return goesOn;
}

int NetlinkSocket::order(NetlinkRequest& request) {
    request.message().nlmsg_flags |= NLM_F_ACK;
    return ask(request, [](const nlmsghdr&) {}).error;
}

int NetlinkSocket::send(std::string_view messages) {
    return mnl_socket_sendto(socket_.get(), messages.data(), messages.size()) < 0 ? errno : 0;
}

int NetlinkSocket::drain(int reads, const Handler& handler) {
    for (; reads > 0; --reads) {
        const ssize_t size = recv(fd(), buffer_.data(), buffer_.size(), MSG_DONTWAIT);
        if (size < 0) {
            return errno;
        }
        forEachMessage(buffer_.data(), static_cast<std::size_t>(size), [&](const nlmsghdr& one) {
            handler(one);
            return true;
        });
    }
    return 0;
}

}  // namespace companion
