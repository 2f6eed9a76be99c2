#include "portald/reception.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

#include "portald/endpoint.h"

namespace portald {
namespace {

using Clock = companion::EventLoop::Clock;

constexpr std::chrono::milliseconds kSweepPeriod{100};
// For a peer to take the answer to a request that was not read to its end; its unread rest would
// make the kernel reset the connection and the answer be lost.
constexpr std::chrono::milliseconds kDraining{1000};
// Connections taken at a time, so that those which are there get their turn.
constexpr int kAcceptedAtOnce = 64;
// A handshake costs as much as hundreds of redirects.
constexpr int kAcceptedAtOnceTls = 4;

}  // namespace

struct Reception::Connection {
    Connection(ConnectionId itsId, Channel itsChannel, Endpoint itsPeer)
        : id(itsId), channel(std::move(itsChannel)), peer(std::move(itsPeer)) {}

    const ConnectionId id;
    Channel channel;
    const Endpoint peer;
    Stage stage = Stage::receiving;
    Clock::time_point deadline;
    Channel::Step watched = Channel::Step::done;  // done: for nothing
    bool withBody = true;
    bool readWhole = true;
    std::string bytes;       // the request, later the answer
    std::size_t offset = 0;  // how far they have been looked at, or sent
};

Reception::Reception(companion::EventLoop& loop, const ReceptionLimits& limits, Handler handler)
    : loop_(loop),
      limits_(limits),
      handler_(std::move(handler)),
      sweep_(loop.every(kSweepPeriod, [this] { endOverdue(); })) {}

Reception::~Reception() {
    loop_.cancel(sweep_);
    for (const Listener& listener : listeners_) {
        loop_.forget(listener.socket.get());
    }
    for (const auto& [id, connection] : connections_) {
        loop_.forget(connection.channel.fd());
    }
}

std::uint16_t Reception::listen(std::uint16_t port, SSL_CTX* tls) {
    listeners_.push_back({listeningSocket(port), tls});
    const int socket = listeners_.back().socket.get();
    loop_.whenReadable(socket,
                       [this, index = listeners_.size() - 1] { accept(listeners_[index]); });
    return portOf(socket);
}

void Reception::accept(const Listener& listener) {
    const int most = listener.tls != nullptr ? kAcceptedAtOnceTls : kAcceptedAtOnce;
    for (int i = 0; i < most; ++i) {
        ostrel::Fd socket(
            accept4(listener.socket.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (socket.valid()) {
            admit(std::move(socket), listener.tls);
        } else if ((errno != EMFILE && errno != ENFILE) || !makeRoom()) {
            return;
        }
    }
}

void Reception::admit(ostrel::Fd socket, SSL_CTX* tls) {
    const Endpoint peer = peerOf(socket.get());
    if (peer.address.empty() || (connections_.size() >= limits_.connections && !makeRoom())) {
        return;
    }
    const auto ofAddress = byAddress_.find(peer.address);
    if (ofAddress != byAddress_.end() && ofAddress->second >= limits_.perAddress) {
        return;
    }
    const ConnectionId id = ++last_;
    Connection& connection =
        connections_.try_emplace(id, id, Channel(std::move(socket), tls), peer).first->second;
    ++byAddress_[peer.address];
    enter(connection, Stage::receiving, limits_.receiving);
    receive(connection);
}

// The one that has kept us waiting for its request longest gives way to a new one.
bool Reception::makeRoom() {
    Connection* oldest = nullptr;
    for (auto& [id, connection] : connections_) {
        if (connection.stage == Stage::receiving && (oldest == nullptr || id < oldest->id)) {
            oldest = &connection;
        }
    }
    if (oldest == nullptr) {
        return false;
    }
    end(*oldest);
    return true;
}

void Reception::receive(Connection& connection) {
    const Channel::Step step = connection.channel.read(connection.bytes, kMostRequestBytes);
    switch (arrivalOf(connection.bytes, connection.offset)) {
        case Arrival::whole:
            hand(connection);
            return;
        case Arrival::tooLarge:
            connection.readWhole = false;
            refuse(connection, 431);
            return;
        case Arrival::unreadable:
            connection.readWhole = false;
            refuse(connection, 400);
            return;
        case Arrival::partly:
            waitFor(connection, step);
            return;
    }
}

void Reception::hand(Connection& connection) {
    std::optional<Asked> asked = reader_.read(connection.bytes);
    if (!asked) {
        refuse(connection, 400);
        return;
    }
    unwatch(connection);
    connection.withBody = asked->method != "HEAD";
    connection.bytes = std::string();
    enter(connection, Stage::deciding, limits_.deciding);
    asked->peer = connection.peer.address;
    asked->peerDevice = connection.peer.device;
    asked->local = localOf(connection.channel.fd()).address;
    asked->secure = connection.channel.secure();
    handler_(connection.id, *asked);
}

void Reception::refuse(Connection& connection, int status) {
    Reply reply;
    reply.status = status;
    start(connection, reply, true);
}

void Reception::answer(ConnectionId id, const Reply& reply) {
    const auto found = connections_.find(id);
    if (found != connections_.end() && found->second.stage == Stage::deciding) {
        start(found->second, reply, found->second.withBody);
    }
}

void Reception::start(Connection& connection, const Reply& reply, bool withBody) {
    connection.bytes = encodeReply(reply, withBody);
    connection.offset = 0;
    enter(connection, Stage::sending, limits_.sending);
    send(connection);
}

void Reception::send(Connection& connection) {
    const Channel::Step step = connection.channel.write(connection.bytes, connection.offset);
    if (step != Channel::Step::done) {
        waitFor(connection, step);
        return;
    }
    connection.channel.finish();
    if (connection.readWhole) {
        end(connection);
        return;
    }
    enter(connection, Stage::draining, kDraining);
    drain(connection);
}

void Reception::drain(Connection& connection) {
    connection.bytes.clear();
    const Channel::Step step = connection.channel.read(connection.bytes, kMostRequestBytes);
    waitFor(connection, step == Channel::Step::done ? Channel::Step::wantsRead : step);
}

void Reception::waitFor(Connection& connection, Channel::Step step) {
    if (step == Channel::Step::ended || step == Channel::Step::done) {
        end(connection);
        return;
    }
    if (step == connection.watched) {
        return;
    }
    const auto goOn = [this, id = connection.id] {
        Connection& mine = connections_.at(id);
        switch (mine.stage) {
            case Stage::receiving:
                receive(mine);
                return;
            case Stage::sending:
                send(mine);
                return;
            case Stage::draining:
                drain(mine);
                return;
            case Stage::deciding:
                return;
        }
    };
    const int fd = connection.channel.fd();
    unwatch(connection);
    connection.watched = step;
    if (step == Channel::Step::wantsRead) {
        loop_.whenReadable(fd, goOn);
    } else {
        loop_.whenWritable(fd, goOn);
    }
}

void Reception::unwatch(Connection& connection) {
    if (connection.watched != Channel::Step::done) {
        loop_.forget(connection.channel.fd());
        connection.watched = Channel::Step::done;
    }
}

void Reception::enter(Connection& connection, Stage stage, std::chrono::milliseconds limit) {
    connection.stage = stage;
    connection.deadline = Clock::now() + limit;
}

void Reception::end(Connection& connection) {
    unwatch(connection);
    const auto ofAddress = byAddress_.find(connection.peer.address);
    if (--ofAddress->second == 0) {
        byAddress_.erase(ofAddress);
    }
    connections_.erase(connection.id);
}

void Reception::endOverdue() {
    const Clock::time_point now = Clock::now();
    std::vector<ConnectionId> overdue;
    for (const auto& [id, connection] : connections_) {
        if (connection.deadline <= now) {
            overdue.push_back(id);
        }
    }
    for (const ConnectionId id : overdue) {
        const auto found = connections_.find(id);
        if (found != connections_.end()) {
            end(found->second);
        }
    }
}

}  // namespace portald
