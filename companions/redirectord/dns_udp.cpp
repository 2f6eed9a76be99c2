#include "redirectord/dns_udp.h"

#include <netinet/in.h>

#include <cerrno>
#include <cstring>

#include "redirectord/dns_message.h"

namespace redirectord {
namespace {

// After so many datagrams the rest of the program has its turn.
constexpr int kAtOnce = 64;
// More share no further update of the sets, and would only take memory.
constexpr std::size_t kMostWaiting = 128;

// An answer that the socket has no room for is lost as on any network: the station asks again.
void sendTo(const DnsClient& client, std::string_view message) {
    iovec part{const_cast<char*>(message.data()), message.size()};
    msghdr header{};
    header.msg_name = const_cast<sockaddr*>(client.address.get());
    header.msg_namelen = client.address.size;
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = const_cast<char*>(client.control.data());
    header.msg_controllen = client.controlSize;
    sendmsg(client.socket, &header, 0);
}

}  // namespace

DnsUdp::DnsUdp(companion::EventLoop& loop, DnsServers& servers, DnsAnswers& answers,
               std::uint16_t port)
    : loop_(loop),
      answers_(answers),
      upstream_(loop, servers, [this](const DnsClient& client, std::string answer) {
          pass(client, std::move(answer));
      }) {
    serve(AF_INET, port);
    serve(AF_INET6, port);
}

DnsUdp::~DnsUdp() {
    loop_.cancel(timer_);
    for (const ostrel::Fd& socket : sockets_) {
        loop_.forget(socket.get());
    }
}

void DnsUdp::serve(sa_family_t family, std::uint16_t port) {
    ostrel::Fd socket = openPort(family, SOCK_DGRAM, port);
    if (!socket.valid()) {
        return;
    }
    const int on = 1;
    if (family == AF_INET) {
        setsockopt(socket.get(), IPPROTO_IP, IP_PKTINFO, &on, sizeof on);
    } else {
        setsockopt(socket.get(), IPPROTO_IPV6, IPV6_RECVPKTINFO, &on, sizeof on);
    }
    const int number = socket.get();
    sockets_.push_back(std::move(socket));
    loop_.whenReadable(number, [this, number] { receive(number); });
}

void DnsUdp::receive(int socket) {
    std::array<char, kLongestDnsQuery> buffer{};
    for (int i = 0; i < kAtOnce; ++i) {
        DnsClient client;
        client.socket = socket;
        iovec part{buffer.data(), buffer.size()};
        msghdr header{};
        header.msg_name = client.address.get();
        header.msg_namelen = client.address.size;
        header.msg_iov = &part;
        header.msg_iovlen = 1;
        header.msg_control = client.control.data();
        header.msg_controllen = client.control.size();
        const ssize_t size = recvmsg(socket, &header, 0);
        if (size < 0) {
            return;
        }
        client.address.size = header.msg_namelen;
        client.controlSize = header.msg_controllen;
        if ((header.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) == 0) {
            handle({buffer.data(), static_cast<std::size_t>(size)}, client);
        }
    }
}

void DnsUdp::handle(std::string_view query, const DnsClient& client) {
    switch (judgeQuery(query)) {
        case QueryVerdict::drop:
            return;
        case QueryVerdict::formatError:
            sendTo(client, dnsErrorAnswer(query, DnsError::format));
            return;
        case QueryVerdict::notImplemented:
            sendTo(client, dnsErrorAnswer(query, DnsError::notImplemented));
            return;
        case QueryVerdict::refused:
            sendTo(client, dnsErrorAnswer(query, DnsError::refused));
            return;
        case QueryVerdict::forward:
            break;
    }
    DnsClient asking = client;
    asking.id = dnsIdOf(query);
    // What can't be asked now is dropped like on a full line: the station asks again.
    static_cast<void>(upstream_.ask(query, asking));
}

void DnsUdp::pass(const DnsClient& client, std::string answer) {
    if (!answers_.take(answer)) {
        sendTo(client, answer);
        return;
    }
    waiting_.emplace_back(client, std::move(answer));
    if (waiting_.size() >= kMostWaiting) {
        settle();
    } else if (timer_ == 0) {
        // At the end of this turn of the loop: answers that came together share one update.
        timer_ = loop_.after(std::chrono::milliseconds(0), [this] { settle(); });
    }
}

void DnsUdp::settle() {
    loop_.cancel(timer_);
    timer_ = 0;
    answers_.settle();
    for (const auto& [client, answer] : waiting_) {
        sendTo(client, answer);
    }
    waiting_.clear();
}

}  // namespace redirectord
