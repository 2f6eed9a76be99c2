#include "portald/neighbours.h"

#include <arpa/inet.h>
#include <libmnl/libmnl.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

#include "ostrel/addresses.h"
#include "ostrel/clock.h"
#include "ostrel/runtime.h"

namespace portald {
namespace {

constexpr std::int64_t kReadEvery = 100;  // milliseconds
constexpr std::int64_t kKnownFor = 2000;  // milliseconds
constexpr std::size_t kMostNeighbours = 65536;
// The kernel sends no larger ones.
constexpr std::size_t kPieceOfDump = 32768;
constexpr auto kConfirmed = NUD_REACHABLE | NUD_DELAY | NUD_PROBE | NUD_PERMANENT;
constexpr auto kUsable = kConfirmed | NUD_STALE;

using Attributes = std::array<const nlattr*, NDA_MAX + 1>;

int keepAttribute(const nlattr* attribute, void* data) {
    const std::uint16_t type = mnl_attr_get_type(attribute);
    if (type <= NDA_MAX) {
        (*static_cast<Attributes*>(data))[type] = attribute;
    }
    return MNL_CB_OK;
}

int keepNeighbour(const nlmsghdr* header, void* data) {
    auto& neighbours = *static_cast<std::vector<Neighbour>*>(data);
    if (header->nlmsg_type != RTM_NEWNEIGH || mnl_nlmsg_get_payload_len(header) < sizeof(ndmsg) ||
        neighbours.size() >= kMostNeighbours) {
        return MNL_CB_OK;
    }
    const auto* const message = static_cast<const ndmsg*>(mnl_nlmsg_get_payload(header));
    const bool ipv6 = message->ndm_family == AF_INET6;
    const std::size_t size = ipv6 ? 16 : 4;
    Attributes attributes{};
    mnl_attr_parse(header, sizeof *message, keepAttribute, &attributes);
    const nlattr* const address = attributes[NDA_DST];
    const nlattr* const mac = attributes[NDA_LLADDR];
    if ((!ipv6 && message->ndm_family != AF_INET) || (message->ndm_state & kUsable) == 0 ||
        address == nullptr || mnl_attr_get_payload_len(address) != size || mac == nullptr ||
        mnl_attr_get_payload_len(mac) != std::tuple_size<ostrel::MacBytes>::value) {
        return MNL_CB_OK;
    }
    Neighbour neighbour;
    std::array<char, INET6_ADDRSTRLEN> text{};
    inet_ntop(message->ndm_family, mnl_attr_get_payload(address), text.data(), text.size());
    neighbour.address = text.data();
    ostrel::MacBytes bytes;
    std::copy_n(static_cast<const std::uint8_t*>(mnl_attr_get_payload(mac)), bytes.size(),
                bytes.begin());
    neighbour.mac = ostrel::macText(bytes);
    neighbour.device = message->ndm_ifindex;
    neighbour.ipv6 = ipv6;
    neighbour.confirmed = (message->ndm_state & kConfirmed) != 0;
    neighbours.push_back(std::move(neighbour));
    return MNL_CB_OK;
}

struct CloseSocket {
    void operator()(mnl_socket* socket) const { mnl_socket_close(socket); }
};

bool readInto(std::vector<Neighbour>& neighbours) {
    const std::unique_ptr<mnl_socket, CloseSocket> socket(
        mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC));
    if (!socket || mnl_socket_bind(socket.get(), 0, MNL_SOCKET_AUTOPID) < 0) {
        return false;
    }
    std::vector<char> buffer(kPieceOfDump);
    nlmsghdr* const request = mnl_nlmsg_put_header(buffer.data());
    request->nlmsg_type = RTM_GETNEIGH;
    request->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request->nlmsg_seq = 1;
    mnl_nlmsg_put_extra_header(request, sizeof(ndmsg));
    if (mnl_socket_sendto(socket.get(), request, request->nlmsg_len) < 0) {
        return false;
    }
    int more = MNL_CB_OK;
    while (more > MNL_CB_STOP) {
        const ssize_t size = mnl_socket_recvfrom(socket.get(), buffer.data(), buffer.size());
        more = size < 0
                   ? MNL_CB_ERROR
                   : mnl_cb_run(buffer.data(), static_cast<std::size_t>(size), 1,
                                mnl_socket_get_portid(socket.get()), keepNeighbour, &neighbours);
    }
    return more == MNL_CB_STOP;
}

}  // namespace

std::vector<Neighbour> KernelNeighbours::read() {
    std::vector<Neighbour> neighbours;
    if (!readInto(neighbours)) {
        ostrel::report(ostrel::LogLevel::warning, "the neighbour table can't be read: %s",
                       std::strerror(errno));
    }
    return neighbours;
}

std::vector<Neighbours::Owner> Neighbours::ownersOf(const std::string& address) {
    const std::int64_t age = ostrel::monotonicMilliseconds() - readAt_;
    auto found = owners_.find(address);
    const bool known = found != owners_.end() && age < kKnownFor;
    if (readAt_ < 0 || (!known && age >= kReadEvery)) {
        refresh();
        found = owners_.find(address);
    }
    return found != owners_.end() ? found->second : std::vector<Owner>();
}

void Neighbours::refresh() {
    readAt_ = ostrel::monotonicMilliseconds();
    owners_.clear();
    std::vector<Neighbour> all = source_.read();
    std::stable_partition(all.begin(), all.end(),
                          [](const Neighbour& one) { return one.confirmed; });
    std::map<std::pair<int, std::string>, std::vector<Owner>> ofStation;
    for (const Neighbour& one : all) {
        if (!one.ipv6) {
            ofStation[{one.device, one.mac}].push_back({one.mac, one.address});
        }
    }
    for (const Neighbour& one : all) {
        const auto station = ofStation.find({one.device, one.mac});
        if (one.ipv6 && station != ofStation.end()) {
            auto& owners = owners_[one.address];
            owners.insert(owners.end(), station->second.begin(), station->second.end());
        }
    }
}

}  // namespace portald
