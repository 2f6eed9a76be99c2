#pragma once

// The event loop of the bus: one thread that accepts, reads frames and hands each to the calls, and
// writes what did not leave at once. It parses nothing.
//
// Threads: send() and dropped() from any thread.

#include <atomic>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "calls.h"
#include "connection.h"
#include "inbox.h"
#include "ostrel/mutex.h"
#include "ostrel/runtime.h"
#include "peers.h"
#include "sockets.h"

namespace ostrel::bus {

// Numbers from here on are tools: 65536 plus the process id, without a socket file.
inline constexpr std::uint32_t kFirstTool = 65536;
inline constexpr std::size_t kMaxConnections = 256;

// Whether it is the number of a daemon whose word counts: configuration, apbd, monitord. vestad's
// own is not among them, since nobody obeys it.
[[nodiscard]] bool isDaemon(std::uint32_t sender);

// What peers may take of a process. Whoever goes beyond loses its connection.
struct Limits {
    std::size_t connectionsOfAProcess = 16;
    // Whoever has connected must send a whole frame in this time.
    std::int64_t firstFrameMilliseconds = 30000;
    // What all connections may hold together: frames that are arriving, that are not handled yet,
    // and that wait to leave. The connection that holds most goes first.
    std::size_t heldByAll = std::size_t{OSTREL_BUS_BUDGET_MIB} * 1024 * 1024;
};

class Exchange {
public:
    // `listens`: with a socket file of its own in `directory`, where those of the others are.
    // Throws std::runtime_error when that or the event loop can't be made. `calls` and `inbox`
    // outlive the exchange.
    Exchange(std::uint32_t module, bool listens, int backlog, std::string directory, Calls& calls,
             Inbox& inbox, const Limits& limits = {});
    ~Exchange();
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    // Queues `text`, made UTF-8, as one frame; never blocks. A `further` frame of an answer may
    // wait behind the others, however much waits. False, and counted, when it is dropped.
    [[nodiscard]] bool send(std::string_view text, std::uint32_t module, bool further = false);
    [[nodiscard]] unsigned long long dropped() const { return dropped_; }

    // Ends the thread and closes every connection.
    void stop();

private:
    [[nodiscard]] bool watch(int fd, std::uint64_t id);
    void run();
    void handleEvent(std::uint64_t id, std::uint32_t events);
    void acceptAll();
    void admit(Fd socket);
    void restListener(int error);
    // Once a second.
    void tend();
    // Has the listener listen again that rested or lost its socket file.
    void tendListener();
    void closeOverdue(std::int64_t now);
    void keepToBudget();
    void handleConnection(const std::shared_ptr<Connection>& connection, std::uint32_t events);
    void readFrom(const std::shared_ptr<Connection>& connection, bool hungUp);
    void closeConnection(const std::shared_ptr<Connection>& connection);
    std::shared_ptr<Connection> open(Fd socket, const Peer& peer);
    std::shared_ptr<Connection> reach(std::uint32_t module, bool& fresh) EXCLUDES(connecting_);
    void reportAbsent(std::uint32_t module, const char* reason) REQUIRES(connecting_);

    const std::uint32_t module_;
    const int backlog_;
    const std::string directory_;
    Calls& calls_;
    Inbox& inbox_;
    const Limits limits_;
    std::atomic<std::size_t> heldByAll_{0};
    std::unique_ptr<ListeningSocket> listener_;
    Fd epoll_;
    Fd wake_;
    Peers peers_;
    std::atomic<std::uint64_t> nextId_;
    std::atomic<unsigned long long> dropped_{0};
    std::atomic<bool> stopping_{false};
    Mutex connecting_;  // so that two senders to one module share a connection
    std::set<std::uint32_t> absent_ GUARDED_BY(connecting_);  // reported as not there
    bool listenerRests_ = false;                              // of the I/O thread
    std::int64_t tendAt_ = 0;                                 // of the I/O thread, monotonic ms
    std::vector<char> buffer_;                                // of the I/O thread
    std::thread thread_;
};

}  // namespace ostrel::bus
