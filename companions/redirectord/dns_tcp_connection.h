#pragma once

// One connection of a station to the name forwarder, with the query that it waits for.
//
// Threads: the event loop's.

#include <chrono>
#include <functional>
#include <string>

#include "common/event_loop.h"
#include "ostrel/runtime.h"
#include "redirectord/dns_answers.h"
#include "redirectord/dns_servers.h"

namespace redirectord {

class DnsTcpConnection {
public:
    using Clock = companion::EventLoop::Clock;

    // `ended` is called once, out of a handler of the loop, when the connection is of no more use;
    // it may destroy the connection.
    DnsTcpConnection(companion::EventLoop& loop, DnsServers& servers, DnsAnswers& answers,
                     ostrel::Fd station, const IpAddress& client, std::function<void()> ended);
    ~DnsTcpConnection();
    DnsTcpConnection(const DnsTcpConnection&) = delete;
    DnsTcpConnection& operator=(const DnsTcpConnection&) = delete;

    [[nodiscard]] const IpAddress& client() const { return client_; }
    // When the step began that it is at: reading a query, asking, waiting, answering.
    [[nodiscard]] Clock::time_point since() const { return since_; }

private:
    enum class Io { unfinished, done, broken };

    // Each is one step, and begins the next one when it is done.
    void readQuery();
    void ask();
    void sendQuery();
    void readAnswer();
    void answer(std::string message);
    void sendAnswer();

    // A message with its length in front (RFC 1035, section 4.2.2), in `buffer_`.
    [[nodiscard]] Io read(int fd, std::size_t longest);
    [[nodiscard]] Io write(int fd);
    void end();

    companion::EventLoop& loop_;
    DnsServers& servers_;
    DnsAnswers& answers_;
    ostrel::Fd station_;
    ostrel::Fd server_;
    SocketAddress serverAddress_;
    IpAddress client_;
    std::function<void()> ended_;
    Clock::time_point since_ = Clock::now();
    std::string query_;
    std::uint16_t id_ = 0;  // of the query that went out
    std::string buffer_;
    std::size_t written_ = 0;
};

}  // namespace redirectord
