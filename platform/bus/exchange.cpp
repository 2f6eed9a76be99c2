#include "exchange.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <utility>

#include "ostrel/ipc.h"
#include "utf8.h"

namespace ostrel::bus {
namespace {

// What an event is about; connections count from kFirstConnection.
enum EventId : std::uint64_t { kWake = 0, kListener = 1, kFirstConnection = 2 };

constexpr std::size_t kReadBytes = 64 * 1024;
constexpr int kAcceptsAtOnce = 64;
// How often the listener is looked after; so long it rests when no descriptor was left for a new
// connection.
constexpr int kTendMilliseconds = 1000;

std::int64_t realMilliseconds() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

std::runtime_error loopError() {
    return std::runtime_error(std::string("can't make the event loop of the bus: ") +
                              std::strerror(errno));
}

}  // namespace

bool isDaemon(std::uint32_t sender) {
    return sender == IPC_MODULE_CONFIGURATION || sender == IPC_MODULE_APBD ||
           sender == IPC_MODULE_MONITORD_TRAPS || sender == IPC_MODULE_MONITORD_STATISTICS;
}

Exchange::Exchange(std::uint32_t module, bool listens, int backlog, std::string directory,
                   Calls& calls, Inbox& inbox, const Limits& limits)
    : module_(module),
      backlog_(backlog),
      directory_(std::move(directory)),
      calls_(calls),
      inbox_(inbox),
      limits_(limits),
      epoll_(epoll_create1(EPOLL_CLOEXEC)),
      wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      nextId_(kFirstConnection),
      buffer_(kReadBytes) {
    if (!epoll_.valid() || !wake_.valid()) {
        throw loopError();
    }
    if (listens) {
        listener_ = std::make_unique<ListeningSocket>(directory_, module, backlog);
    }
    if (!watch(wake_.get(), kWake) || (listens && !watch(listener_->fd(), kListener))) {
        throw loopError();
    }
    thread_ = std::thread([this] { run(); });
}

Exchange::~Exchange() {
    stop();
}

bool Exchange::send(std::string_view text, std::uint32_t module, bool further) {
    std::string repaired;
    const std::string_view payload = asUtf8(text, repaired);
    if (payload.empty() || payload.size() > kMaxPayloadBytes) {
        report(LogLevel::warning, "bus: a text of %zu bytes for module %u can't be sent",
               payload.size(), module);
        ++dropped_;
        return false;
    }
    const std::string frame = encodeFrame(module_, payload);
    // Every turn but the last finds a connection whose peer has gone, and forgets its routes. When
    // even a new connection breaks at once, sending gives up.
    for (bool fresh = false; !fresh;) {
        const std::shared_ptr<Connection> connection = reach(module, fresh);
        if (connection == nullptr) {
            break;
        }
        const Connection::Sent result = connection->send(frame, further);
        if (result == Connection::Sent::done) {
            keepToBudget();
            return true;
        }
        if (result == Connection::Sent::full) {
            break;
        }
        peers_.dropRoutes(connection);
    }
    ++dropped_;
    return false;
}

void Exchange::stop() {
    stopping_ = true;
    if (!thread_.joinable()) {
        return;
    }
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(wake_.get(), &one, sizeof one);
    thread_.join();
    listener_.reset();
    for (const auto& connection : peers_.all()) {
        closeConnection(connection);
    }
}

bool Exchange::watch(int fd, std::uint64_t id) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = id;
    return epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, fd, &event) == 0;
}

void Exchange::run() {
    std::array<epoll_event, 64> events{};
    while (!stopping_) {
        const int timeout = listener_ ? kTendMilliseconds : -1;
        const int count =
            epoll_wait(epoll_.get(), events.data(), static_cast<int>(events.size()), timeout);
        tend();
        for (int i = 0; i < count && !stopping_; ++i) {
            const epoll_event& event = events[static_cast<std::size_t>(i)];
            handleEvent(event.data.u64, event.events);
        }
    }
}

void Exchange::handleEvent(std::uint64_t id, std::uint32_t events) {
    if (id == kListener) {
        acceptAll();
    } else if (id != kWake) {
        // An event may outlive its connection.
        if (const std::shared_ptr<Connection> connection = peers_.find(id)) {
            handleConnection(connection, events);
        }
    }
}

void Exchange::acceptAll() {
    for (int i = 0; i < kAcceptsAtOnce; ++i) {
        Fd socket(accept4(listener_->fd(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (socket.valid()) {
            admit(std::move(socket));
        } else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
            restListener(errno);
            return;
        } else if (errno != EINTR && errno != ECONNABORTED) {
            return;
        }
    }
}

void Exchange::admit(Fd socket) {
    const Peer peer = peerOf(socket.get(), directory_);
    if (!peer.welcome) {
        report(LogLevel::warning, "bus: process %d of user %u may not connect, closed",
               static_cast<int>(peer.process), static_cast<unsigned>(peer.user));
    } else if (peers_.size() >= kMaxConnections) {
        report(LogLevel::warning, "bus: process %d is one connection too many, closed",
               static_cast<int>(peer.process));
    } else if (peers_.countOf(peer.process) >= limits_.connectionsOfAProcess) {
        report(LogLevel::warning, "bus: process %d has %zu connections, one more is closed",
               static_cast<int>(peer.process), limits_.connectionsOfAProcess);
    } else {
        open(std::move(socket), peer)
            ->expectFrameBy(realMilliseconds() + limits_.firstFrameMilliseconds);
    }
}

// Without a pause the waiting connection would wake the loop again and again.
void Exchange::restListener(int error) {
    report(LogLevel::error, "bus: can't accept a connection: %s", std::strerror(error));
    epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, listener_->fd(), nullptr);
    listenerRests_ = true;
}

void Exchange::tend() {
    // The real clock: the one that a test stops does not stop a file from being removed.
    const std::int64_t now = realMilliseconds();
    if (listener_ && now >= tendAt_) {
        tendAt_ = now + kTendMilliseconds;
        closeOverdue(now);
        tendListener();
    }
}

void Exchange::closeOverdue(std::int64_t now) {
    for (const auto& connection : peers_.all()) {
        if (connection->overdue(now)) {
            report(LogLevel::warning, "bus: %s has sent no whole frame in time, connection closed",
                   connection->peerName().c_str());
            closeConnection(connection);
        }
    }
}

void Exchange::tendListener() {
    if (listener_->lost()) {
        try {
            auto next = std::make_unique<ListeningSocket>(directory_, module_, backlog_);
            listener_ = std::move(next);
            listenerRests_ = true;
            report(LogLevel::warning, "bus: the socket of module %u was removed, it is made again",
                   module_);
        } catch (const std::runtime_error& problem) {
            report(LogLevel::error, "bus: %s", problem.what());
            return;
        }
    }
    if (listenerRests_) {
        listenerRests_ = !watch(listener_->fd(), kListener);
    }
}

void Exchange::handleConnection(const std::shared_ptr<Connection>& connection,
                                std::uint32_t events) {
    if (connection->condemned()) {
        closeConnection(connection);
        return;
    }
    if ((events & EPOLLOUT) != 0 && connection->flush()) {
        inbox_.lookAgain();
    }
    if ((events & (EPOLLIN | EPOLLHUP | EPOLLERR)) == 0) {
        return;
    }
    try {
        readFrom(connection, (events & EPOLLHUP) != 0);
    } catch (const std::exception& problem) {
        // When memory runs out for one peer's frame, only that peer loses its connection.
        report(LogLevel::error, "bus: %s on reading from %s, connection closed", problem.what(),
               connection->peerName().c_str());
        closeConnection(connection);
    }
}

void Exchange::readFrom(const std::shared_ptr<Connection>& connection, bool hungUp) {
    std::vector<Frame> frames;
    const Connection::Read result = connection->read(buffer_, frames);
    for (Frame& frame : frames) {
        if (isDaemon(frame.sender) && !connection->trusted()) {
            report(LogLevel::warning, "bus: %s may not speak as module %u, its frame is dropped",
                   connection->peerName().c_str(), frame.sender);
            continue;
        }
        connection->setPeer(frame.sender);
        connection->expectFrameBy(0);
        peers_.show(frame.sender, connection);
        calls_.accept(Arrival(std::move(frame), connection));
    }
    keepToBudget();
    switch (result) {
        case Connection::Read::frames:
        case Connection::Read::nothing:
            return;
        case Connection::Read::unreadable:
            report(LogLevel::warning, "bus: %s claims a frame of %u bytes, connection closed",
                   connection->peerName().c_str(), connection->reader().claimedBytes());
            break;
        case Connection::Read::ended:
        case Connection::Read::failed:
            if (connection->reader().midFrame()) {
                report(LogLevel::warning, "bus: %s left in the middle of a frame",
                       connection->peerName().c_str());
            } else if (result == Connection::Read::ended && !hungUp) {
                connection->expectNoMore();
                return;
            }
            break;
    }
    closeConnection(connection);
}

void Exchange::closeConnection(const std::shared_ptr<Connection>& connection) {
    peers_.remove(connection);
    connection->close();
    inbox_.lookAgain();
}

void Exchange::keepToBudget() {
    while (heldByAll_ > limits_.heldByAll) {
        std::shared_ptr<Connection> largest;
        std::size_t most = 0;
        for (const auto& connection : peers_.all()) {
            const std::size_t held = connection->held();
            if (held > most) {
                most = held;
                largest = connection;
            }
        }
        if (largest == nullptr) {
            return;
        }
        if (largest->condemn()) {
            report(LogLevel::warning,
                   "bus: all connections hold more than %zu bytes, that of %s with %zu is closed",
                   limits_.heldByAll, largest->peerName().c_str(), most);
        }
    }
}

std::shared_ptr<Connection> Exchange::open(Fd socket, const Peer& peer) {
    auto connection =
        std::make_shared<Connection>(std::move(socket), nextId_++, epoll_.get(), peer, heldByAll_);
    peers_.add(connection);
    connection->start();
    return connection;
}

// The connection to `module`; a new one (`fresh`) when there is none yet. Null when the module
// isn't there.
std::shared_ptr<Connection> Exchange::reach(std::uint32_t module, bool& fresh) {
    if (std::shared_ptr<Connection> connection = peers_.route(module)) {
        return connection;
    }
    MutexLock lock(connecting_);
    if (std::shared_ptr<Connection> connection = peers_.route(module)) {
        return connection;
    }
    Fd socket = connectTo(directory_, module);
    if (!socket.valid()) {
        reportAbsent(module, std::strerror(errno));
        return nullptr;
    }
    const Peer peer = peerOf(socket.get(), directory_);
    if (!peer.welcome) {
        reportAbsent(module, "its socket belongs to a stranger");
        return nullptr;
    }
    absent_.erase(module);
    fresh = true;
    const std::shared_ptr<Connection> connection = open(std::move(socket), peer);
    connection->setPeer(module);
    peers_.show(module, connection);
    return connection;
}

// Reports an absent module once until it is reached again. Tools come and go and are not
// remembered.
void Exchange::reportAbsent(std::uint32_t module, const char* reason) {
    if (module >= kFirstTool) {
        report(LogLevel::debug, "bus: tool %u is not there: %s", module, reason);
    } else if (absent_.insert(module).second) {
        report(LogLevel::warning, "bus: module %u is not there: %s", module, reason);
    }
}

}  // namespace ostrel::bus
