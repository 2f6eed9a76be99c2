#pragma once

// The UDP side of the name forwarder: takes queries of stations, asks the name servers, hands the
// answers back byte by byte. Nothing is cached.
//
// Threads: the event loop's.

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/event_loop.h"
#include "redirectord/dns_answers.h"
#include "redirectord/dns_upstream.h"

namespace redirectord {

class DnsUdp {
public:
    // Serves `port` over IPv4, and over IPv6 where the kernel has it. Throws std::system_error when
    // the port is taken. The references must outlive it.
    DnsUdp(companion::EventLoop& loop, DnsServers& servers, DnsAnswers& answers,
           std::uint16_t port);
    ~DnsUdp();
    DnsUdp(const DnsUdp&) = delete;
    DnsUdp& operator=(const DnsUdp&) = delete;

private:
    void serve(sa_family_t family, std::uint16_t port);
    void receive(int socket);
    void handle(std::string_view query, const DnsClient& client);
    void pass(const DnsClient& client, std::string answer);
    void settle();

    companion::EventLoop& loop_;
    DnsAnswers& answers_;
    DnsUpstream upstream_;
    std::vector<ostrel::Fd> sockets_;
    // Answers whose addresses are not in the sets yet.
    std::vector<std::pair<DnsClient, std::string>> waiting_;
    companion::EventLoop::TimerId timer_ = 0;
};

}  // namespace redirectord
