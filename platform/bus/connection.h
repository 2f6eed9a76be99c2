#pragma once

// One open connection of the bus: the bytes that wait to leave, the frame that is arriving, and the
// events to wait for. A peer that misbehaves loses its own connection, and nobody else's: the bytes
// that wait for it are limited, nothing more is read from it while too many of its frames are
// unhandled, and what it holds counts against a budget that all share.
//
// Threads: send(), condemn(), release() and the getters from any thread; read(), flush() and
// close() belong to the I/O thread. Other threads use the descriptor under the mutex alone, so it
// can be closed at once though others still hold the connection.

#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "frame.h"
#include "ostrel/mutex.h"
#include "ostrel/runtime.h"
#include "sockets.h"

namespace ostrel::bus {

// How many bytes may wait for one peer. A single frame may wait whatever its size.
inline constexpr std::size_t kMaxQueuedBytes = 4 * 1024 * 1024;
// Above this much unhandled input, reading from the peer pauses until half of it is handled.
inline constexpr std::size_t kMaxUnhandledBytes = 4 * 1024 * 1024;

class Connection {
public:
    // `socket` is connected and non-blocking; events are asked of `epoll` under `id`. `heldByAll`
    // counts what all connections hold, and is not touched any more once this one is closed.
    Connection(Fd socket, std::uint64_t id, int epoll, const Peer& peer,
               std::atomic<std::size_t>& heldByAll);

    // Asks for events from now on.
    void start() EXCLUDES(mutex_);

    enum class Sent { done, full, broken };
    // Writes as much of `frame` as the peer takes now, and queues the rest. `full`: the queue has
    // no room and nothing was written. `broken`: the peer reads no more. A `further` frame of an
    // answer may wait however much waits.
    [[nodiscard]] Sent send(std::string_view frame, bool further) EXCLUDES(mutex_);

    // Writes what waits as far as the peer takes it. True when nothing waits any more.
    bool flush() EXCLUDES(mutex_);

    // The peer has read what it was sent, or will never read it.
    [[nodiscard]] bool takesAnswers() const EXCLUDES(mutex_);
    // The peer went while answers waited for it: what else it asked needs none.
    [[nodiscard]] bool abandoned() const EXCLUDES(mutex_);

    enum class Read { frames, nothing, ended, failed, unreadable };
    // Reads what has arrived into `buffer` and appends the frames that it completes. `ended`: the
    // peer will send no more. `unreadable`: what it sent is no frame.
    [[nodiscard]] Read read(std::vector<char>& buffer, std::vector<Frame>& frames);

    // By when a whole frame must have come, in milliseconds; 0: whenever it likes. I/O thread.
    void expectFrameBy(std::int64_t time) { frameDue_ = time; }
    [[nodiscard]] bool overdue(std::int64_t now) const {
        return frameDue_ != 0 && now >= frameDue_;
    }

    // To be called when the peer sends no more but may still read: waits only for its hang-up.
    void expectNoMore() EXCLUDES(mutex_);

    // Adds to the unhandled input, and subtracts from it when it is handled. In bytes.
    void charge(std::size_t bytes) EXCLUDES(mutex_);
    void release(std::size_t bytes) EXCLUDES(mutex_);

    // Bytes of the frame that is arriving, of the unhandled input and of what waits to leave; 0
    // once condemned.
    [[nodiscard]] std::size_t held() const EXCLUDES(mutex_);

    // Makes the I/O thread close the connection; frames that it still sends are dropped. True the
    // first time.
    bool condemn() EXCLUDES(mutex_);
    [[nodiscard]] bool condemned() const EXCLUDES(mutex_);

    void close() EXCLUDES(mutex_);

    void setPeer(std::uint32_t module) { peerModule_ = module; }
    // For reports: "module 11 (process 712)".
    [[nodiscard]] std::string peerName() const;
    [[nodiscard]] std::uint64_t id() const { return id_; }
    [[nodiscard]] pid_t process() const { return peer_.process; }
    // The peer runs as root or as our own user.
    [[nodiscard]] bool trusted() const { return peer_.trusted; }
    [[nodiscard]] const FrameReader& reader() const { return reader_; }

private:
    enum class Written { all, some, broken };
    Written writeSome(std::string_view bytes, std::size_t& written) REQUIRES(mutex_);
    void breakOutput() REQUIRES(mutex_);
    void updateInterest() REQUIRES(mutex_);
    void hold(std::size_t bytes) REQUIRES(mutex_);
    void letGo(std::size_t bytes) REQUIRES(mutex_);

    const std::uint64_t id_;
    const int epoll_;
    const Peer peer_;
    std::atomic<std::size_t>& heldByAll_;
    std::atomic<std::uint32_t> peerModule_{0};  // 0 until the peer has shown one
    FrameReader reader_;                        // of the I/O thread
    std::int64_t frameDue_ = 0;                 // of the I/O thread

    mutable Mutex mutex_;
    Fd socket_;  // written under the mutex by the I/O thread alone, which may read it without
    std::list<std::string> queue_ GUARDED_BY(mutex_);
    std::size_t frontSent_ GUARDED_BY(mutex_) = 0;  // bytes of queue_.front() that have left
    std::size_t queuedBytes_ GUARDED_BY(mutex_) = 0;
    std::size_t unhandledBytes_ GUARDED_BY(mutex_) = 0;
    std::size_t arrivingBytes_ GUARDED_BY(mutex_) = 0;
    std::size_t held_ GUARDED_BY(mutex_) = 0;   // of the budget
    bool counts_ GUARDED_BY(mutex_) = true;     // in the budget
    bool dropping_ GUARDED_BY(mutex_) = false;  // since the queue was empty, a frame was dropped
    bool paused_ GUARDED_BY(mutex_) = false;
    bool inputEnded_ GUARDED_BY(mutex_) = false;
    bool outputBroken_ GUARDED_BY(mutex_) = false;
    bool abandoned_ GUARDED_BY(mutex_) = false;
    bool condemned_ GUARDED_BY(mutex_) = false;
    bool started_ GUARDED_BY(mutex_) = false;
    bool registered_ GUARDED_BY(mutex_) = false;
    std::uint32_t interest_ GUARDED_BY(mutex_) = 0;
};

// A frame that arrived, and its share in the unhandled input of its connection.
class Arrival {
public:
    Arrival() = default;
    Arrival(Frame received, std::shared_ptr<Connection> connection);
    Arrival(Arrival&& other) noexcept = default;
    Arrival& operator=(Arrival&& other) noexcept;
    ~Arrival();
    Arrival(const Arrival&) = delete;
    Arrival& operator=(const Arrival&) = delete;

    Frame frame;
    std::shared_ptr<Connection> from;

private:
    std::size_t charged_ = 0;
};

// What is to be done about an arrival that is not JSON: the connection goes, with one report.
void condemnForGarbage(const Arrival& arrival);

}  // namespace ostrel::bus
