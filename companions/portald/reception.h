#pragma once

// The listening sockets and their connections: takes whole requests in and sends their answers out,
// all on one thread that never waits for a station. A connection carries one request, has a time
// limit for each of its stages, and a station has only so many of them; so slow ones block nobody.
//
// Threads: the event loop's alone.

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include "common/event_loop.h"
#include "portald/channel.h"
#include "portald/messages.h"
#include "portald/request_reader.h"

namespace portald {

struct ReceptionLimits {
    std::size_t connections = 2048;
    std::size_t perAddress = 64;
    std::chrono::milliseconds receiving{5000};  // from the connection to its whole request
    std::chrono::milliseconds deciding{15000};  // until there is an answer
    std::chrono::milliseconds sending{5000};
};

class Reception {
public:
    using ConnectionId = std::uint64_t;
    // Takes a request. Its answer may come at once or later.
    using Handler = std::function<void(ConnectionId, const Asked&)>;

    Reception(companion::EventLoop& loop, const ReceptionLimits& limits, Handler handler);
    ~Reception();
    Reception(const Reception&) = delete;
    Reception& operator=(const Reception&) = delete;

    // Listens on all addresses of both families, or on those of IPv4 where the system has no IPv6.
    // `port` 0 takes a free one; returns it. `tls`: null for plain HTTP; outlives this object.
    // Throws std::system_error.
    std::uint16_t listen(std::uint16_t port, SSL_CTX* tls);

    // Sends `reply` and ends the connection. One that has ended meanwhile is nothing.
    void answer(ConnectionId id, const Reply& reply);

    [[nodiscard]] std::size_t connections() const { return connections_.size(); }

private:
    enum class Stage { receiving, deciding, sending, draining };
    struct Connection;
    struct Listener {
        ostrel::Fd socket;
        SSL_CTX* tls;
    };

    void accept(const Listener& listener);
    void admit(ostrel::Fd socket, SSL_CTX* tls);
    bool makeRoom();
    void receive(Connection& connection);
    void hand(Connection& connection);
    void refuse(Connection& connection, int status);
    void start(Connection& connection, const Reply& reply, bool withBody);
    void send(Connection& connection);
    void drain(Connection& connection);
    void waitFor(Connection& connection, Channel::Step step);
    void unwatch(Connection& connection);
    void enter(Connection& connection, Stage stage, std::chrono::milliseconds limit);
    void end(Connection& connection);
    void endOverdue();

    companion::EventLoop& loop_;
    const ReceptionLimits limits_;
    const Handler handler_;
    RequestReader reader_;
    std::vector<Listener> listeners_;
    companion::EventLoop::TimerId sweep_;
    ConnectionId last_ = 0;
    std::unordered_map<ConnectionId, Connection> connections_;
    std::unordered_map<std::string, std::size_t> byAddress_;
};

}  // namespace portald
