#pragma once

// Queries under way to the name servers over UDP. Each goes out once, with an id and from a port
// that nobody can guess; an answer counts when it comes from the server to that port, with that id
// and the same question (RFC 5452). Queries are bounded in number, in total and for each client.
//
// Threads: the event loop's.

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <unordered_map>

#include "common/event_loop.h"
#include "ostrel/runtime.h"
#include "redirectord/dns_servers.h"

namespace redirectord {

// Where an answer goes.
struct DnsClient {
    int socket = -1;
    SocketAddress address;
    // The packet information (IP_PKTINFO, IPV6_PKTINFO) as it came with the query: handed back to
    // the kernel it makes the answer come from the address and leave by the interface of the query.
    alignas(std::max_align_t) std::array<char, 48> control{};
    std::size_t controlSize = 0;
    std::uint16_t id = 0;
};

class DnsUpstream {
public:
    using Answered = std::function<void(const DnsClient&, std::string answer)>;

    static constexpr std::size_t kMostQueries = 4096;
    static constexpr std::size_t kMostOfOneClient = 128;
    static constexpr std::uint16_t kPorts = 32;
    // Of one datagram. Servers and stations agree on less (RFC 6891, section 6.2.5).
    static constexpr std::size_t kLongestAnswer = 8192;

    // `answered` gets each answer, with the client's own id.
    DnsUpstream(companion::EventLoop& loop, DnsServers& servers, Answered answered);
    ~DnsUpstream();
    DnsUpstream(const DnsUpstream&) = delete;
    DnsUpstream& operator=(const DnsUpstream&) = delete;

    // Sends a query that judgeQuery() lets through. False when it can't be sent now, or too many
    // are under way.
    [[nodiscard]] bool ask(std::string_view query, const DnsClient& client);

    [[nodiscard]] std::size_t underWay() const { return queries_.size(); }

private:
    using Clock = companion::EventLoop::Clock;

    struct Query {
        std::uint32_t key;  // number of the port, then id
        DnsClient client;
        std::string question;
        Clock::time_point asked;
    };
    using Queries = std::list<Query>;  // the oldest first
    struct Port {
        ostrel::Fd socket;
        SocketAddress server;
        Clock::time_point opened;
        std::size_t underWay = 0;
    };

    // A new socket where the port has none, has grown old or belongs to another server.
    [[nodiscard]] bool prepare(std::size_t number, const SocketAddress& server);
    void receive(std::size_t number);
    void accept(std::size_t number, std::string_view message);
    void end(Queries::iterator query);
    void giveUpOld();

    companion::EventLoop& loop_;
    DnsServers& servers_;
    Answered answered_;
    std::random_device random_;
    std::array<Port, kPorts> ports_;
    Queries queries_;
    std::unordered_map<std::uint32_t, Queries::iterator> byKey_;
    std::map<IpAddress, std::size_t> ofClient_;
    // When a server last answered, or was last changed.
    Clock::time_point lastSign_ = Clock::now();
    companion::EventLoop::TimerId timer_ = 0;  // 0 while nothing is under way
};

}  // namespace redirectord
