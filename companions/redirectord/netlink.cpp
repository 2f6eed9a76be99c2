#include "redirectord/netlink.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace redirectord {
namespace {

// A part of a dump is at most this long.
constexpr std::size_t kReceiveBytes = 65536;

// Attributes begin at multiples of four bytes.
std::size_t aligned(std::size_t size) {
    return (size + 3) / 4 * 4;
}

int callEach(const nlmsghdr* message, void* data) {
    const auto& each = *static_cast<const Netlink::Each*>(data);
    if (each) {
        each(message);
    }
    return MNL_CB_OK;
}

}  // namespace

Netlink::Netlink(int bus, unsigned int groups) : socket_(mnl_socket_open2(bus, SOCK_CLOEXEC)) {
    if (!socket_ || mnl_socket_bind(socket_.get(), groups, MNL_SOCKET_AUTOPID) != 0) {
        throw std::system_error(errno, std::generic_category(), "no netlink socket");
    }
}

int Netlink::fd() const {
    return mnl_socket_get_fd(socket_.get());
}

int Netlink::send(std::string_view bytes) {
    return mnl_socket_sendto(socket_.get(), bytes.data(), bytes.size()) < 0 ? errno : 0;
}

int Netlink::request(nlmsghdr* message, const Each& each) {
    message->nlmsg_seq = ++sequence_;
    if (const int error = send({reinterpret_cast<const char*>(message), message->nlmsg_len})) {
        return error;
    }
    alignas(nlmsghdr) std::array<char, kReceiveBytes> buffer;
    int more = MNL_CB_OK;
    while (more > MNL_CB_STOP) {
        const ssize_t size = mnl_socket_recvfrom(socket_.get(), buffer.data(), buffer.size());
        more = size < 0 ? MNL_CB_ERROR
                        : mnl_cb_run(buffer.data(), static_cast<std::size_t>(size), sequence_,
                                     mnl_socket_get_portid(socket_.get()), callEach,
                                     const_cast<Each*>(&each));
    }
    return more < 0 ? errno : 0;
}

int Netlink::drain(int reads, const Each& each) {
    alignas(nlmsghdr) std::array<char, kReceiveBytes> buffer;
    for (; reads > 0; --reads) {
        const ssize_t size = recv(fd(), buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (size < 0) {
            return errno;
        }
        int left = static_cast<int>(size);
        const auto* message = reinterpret_cast<const nlmsghdr*>(buffer.data());
        for (; mnl_nlmsg_ok(message, left); message = mnl_nlmsg_next(message, &left)) {
            each(message);
        }
    }
    return 0;
}

std::optional<NetlinkAttribute> takeAttribute(std::string_view& rest) {
    nlattr header;
    if (rest.size() < sizeof header) {
        return std::nullopt;
    }
    std::memcpy(&header, rest.data(), sizeof header);
    if (header.nla_len < sizeof header || header.nla_len > rest.size()) {
        return std::nullopt;
    }
    const NetlinkAttribute attribute{static_cast<std::uint16_t>(header.nla_type & NLA_TYPE_MASK),
                                     rest.substr(sizeof header, header.nla_len - sizeof header)};
    rest.remove_prefix(std::min(aligned(header.nla_len), rest.size()));
    return attribute;
}

std::string_view attributesOf(const nlmsghdr* message, std::size_t headerSize) {
    const std::string_view payload(static_cast<const char*>(mnl_nlmsg_get_payload(message)),
                                   mnl_nlmsg_get_payload_len(message));
    return payload.substr(std::min(aligned(headerSize), payload.size()));
}

}  // namespace redirectord
