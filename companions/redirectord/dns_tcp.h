#pragma once

// The TCP side of the name forwarder: stations come with questions whose answers are too long for a
// datagram. A connection carries one query after the other; each goes to a name server over a
// connection of its own. Connections are bounded in number, in total and for each client, and in
// time.
//
// Threads: the event loop's.

#include <cstdint>
#include <list>
#include <memory>
#include <vector>

#include "common/event_loop.h"
#include "redirectord/dns_answers.h"
#include "redirectord/dns_servers.h"

namespace redirectord {

class DnsTcpConnection;

class DnsTcp {
public:
    static constexpr std::size_t kMostConnections = 64;
    static constexpr std::size_t kMostOfOneClient = 8;
    static constexpr std::chrono::seconds kPatience{10};  // for each step of a query

    // Serves `port` over IPv4, and over IPv6 where the kernel has it. Throws std::system_error when
    // the port is taken. The references must outlive it.
    DnsTcp(companion::EventLoop& loop, DnsServers& servers, DnsAnswers& answers,
           std::uint16_t port);
    ~DnsTcp();
    DnsTcp(const DnsTcp&) = delete;
    DnsTcp& operator=(const DnsTcp&) = delete;

private:
    void serve(sa_family_t family, std::uint16_t port);
    void accept(int listener);
    [[nodiscard]] bool hasRoomFor(const IpAddress& client) const;
    void endOld();
    void awaitOld();

    companion::EventLoop& loop_;
    DnsServers& servers_;
    DnsAnswers& answers_;
    std::vector<ostrel::Fd> listeners_;
    std::list<std::unique_ptr<DnsTcpConnection>> connections_;
    companion::EventLoop::TimerId timer_ = 0;  // 0 while there is no connection
};

}  // namespace redirectord
