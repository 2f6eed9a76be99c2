#include "redirectord/dns_tcp.h"

#include <algorithm>
#include <utility>

#include "redirectord/dns_tcp_connection.h"
#include "redirectord/socket_address.h"

namespace redirectord {

DnsTcp::DnsTcp(companion::EventLoop& loop, DnsServers& servers, DnsAnswers& answers,
               std::uint16_t port)
    : loop_(loop), servers_(servers), answers_(answers) {
    serve(AF_INET, port);
    serve(AF_INET6, port);
}

DnsTcp::~DnsTcp() {
    loop_.cancel(timer_);
    for (const ostrel::Fd& listener : listeners_) {
        loop_.forget(listener.get());
    }
}

void DnsTcp::serve(sa_family_t family, std::uint16_t port) {
    ostrel::Fd listener = openPort(family, SOCK_STREAM, port);
    if (!listener.valid()) {
        return;
    }
    const int number = listener.get();
    listeners_.push_back(std::move(listener));
    loop_.whenReadable(number, [this, number] { accept(number); });
}

// One connection a turn of the loop. One too many is closed at once.
void DnsTcp::accept(int listener) {
    SocketAddress client;
    ostrel::Fd station(accept4(listener, client.get(), &client.size, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!station.valid() || !hasRoomFor(client.ip())) {
        return;
    }
    const auto place = connections_.emplace(connections_.end());
    *place = std::make_unique<DnsTcpConnection>(loop_, servers_, answers_, std::move(station),
                                                client.ip(),
                                                [this, place] { connections_.erase(place); });
    awaitOld();
}

bool DnsTcp::hasRoomFor(const IpAddress& client) const {
    const auto same = std::count_if(connections_.begin(), connections_.end(),
                                    [&client](const auto& one) { return one->client() == client; });
    return connections_.size() < kMostConnections &&
           static_cast<std::size_t>(same) < kMostOfOneClient;
}

void DnsTcp::awaitOld() {
    if (timer_ == 0 && !connections_.empty()) {
        timer_ = loop_.after(std::chrono::seconds(1), [this] { endOld(); });
    }
}

void DnsTcp::endOld() {
    timer_ = 0;
    const auto now = DnsTcpConnection::Clock::now();
    connections_.remove_if([now](const auto& one) { return one->since() + kPatience <= now; });
    awaitOld();
}

}  // namespace redirectord
