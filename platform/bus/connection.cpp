#include "connection.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <cerrno>
#include <utility>

namespace ostrel::bus {
namespace {

// What a queued frame costs besides its payload, so that a flood of tiny frames is bounded too.
constexpr std::size_t kFrameOverheadBytes = 128;

}  // namespace

Connection::Connection(Fd socket, std::uint64_t id, int epoll, const Peer& peer,
                       std::atomic<std::size_t>& heldByAll)
    : id_(id), epoll_(epoll), peer_(peer), heldByAll_(heldByAll), socket_(std::move(socket)) {}

void Connection::start() {
    MutexLock lock(mutex_);
    started_ = true;
    updateInterest();
}

Connection::Sent Connection::send(std::string_view frame, bool further) {
    bool dropsBegin = false;
    {
        MutexLock lock(mutex_);
        if (outputBroken_ || condemned_ || !socket_.valid()) {
            return Sent::broken;
        }
        std::size_t written = 0;
        if (queue_.empty()) {
            switch (writeSome(frame, written)) {
                case Written::all:
                    return Sent::done;
                case Written::broken:
                    breakOutput();
                    return Sent::broken;
                case Written::some:
                    break;
            }
        }
        const std::size_t rest = frame.size() - written;
        if (queue_.empty() || further || queuedBytes_ + rest <= kMaxQueuedBytes) {
            queue_.emplace_back(frame.substr(written));
            queuedBytes_ += rest;
            hold(rest);
            updateInterest();
            return Sent::done;
        }
        dropsBegin = !std::exchange(dropping_, true);
    }
    if (dropsBegin) {
        report(LogLevel::warning, "bus: %s does not read, frames for it are dropped",
               peerName().c_str());
    }
    return Sent::full;
}

bool Connection::flush() {
    MutexLock lock(mutex_);
    while (!queue_.empty()) {
        const std::string_view rest = std::string_view(queue_.front()).substr(frontSent_);
        std::size_t written = 0;
        const Written result = writeSome(rest, written);
        frontSent_ += written;
        queuedBytes_ -= written;
        letGo(written);
        if (result == Written::broken) {
            breakOutput();
            return true;
        }
        if (result == Written::some) {
            return false;
        }
        queue_.pop_front();
        frontSent_ = 0;
    }
    dropping_ = false;
    updateInterest();
    return true;
}

bool Connection::takesAnswers() const {
    MutexLock lock(mutex_);
    return queue_.empty() || condemned_;
}

bool Connection::abandoned() const {
    MutexLock lock(mutex_);
    return abandoned_;
}

Connection::Read Connection::read(std::vector<char>& buffer, std::vector<Frame>& frames) {
    const ssize_t count = recv(socket_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (count < 0) {
        return errno == EAGAIN || errno == EINTR ? Read::nothing : Read::failed;
    }
    if (count == 0) {
        return Read::ended;
    }
    const std::string_view bytes(buffer.data(), static_cast<std::size_t>(count));
    const bool readable = reader_.feed(bytes, frames);
    MutexLock lock(mutex_);
    letGo(arrivingBytes_);
    arrivingBytes_ = reader_.heldBytes();
    hold(arrivingBytes_);
    return readable ? Read::frames : Read::unreadable;
}

void Connection::expectNoMore() {
    MutexLock lock(mutex_);
    inputEnded_ = true;
    updateInterest();
}

void Connection::charge(std::size_t bytes) {
    MutexLock lock(mutex_);
    unhandledBytes_ += bytes;
    hold(bytes);
    if (!paused_ && unhandledBytes_ > kMaxUnhandledBytes) {
        paused_ = true;
        updateInterest();
    }
}

void Connection::release(std::size_t bytes) {
    MutexLock lock(mutex_);
    unhandledBytes_ -= bytes;
    letGo(bytes);
    if (paused_ && unhandledBytes_ <= kMaxUnhandledBytes / 2) {
        paused_ = false;
        updateInterest();
    }
}

std::size_t Connection::held() const {
    MutexLock lock(mutex_);
    return held_;
}

bool Connection::condemn() {
    MutexLock lock(mutex_);
    if (std::exchange(condemned_, true)) {
        return false;
    }
    letGo(held_);
    counts_ = false;
    if (socket_.valid()) {
        // The hang-up that this causes brings the I/O thread here.
        shutdown(socket_.get(), SHUT_RDWR);
        updateInterest();
    }
    return true;
}

bool Connection::condemned() const {
    MutexLock lock(mutex_);
    return condemned_;
}

void Connection::close() {
    MutexLock lock(mutex_);
    if (registered_) {
        // Explicitly, because a child between fork and exec may hold a copy of the descriptor.
        epoll_ctl(epoll_, EPOLL_CTL_DEL, socket_.get(), nullptr);
        registered_ = false;
    }
    letGo(held_);
    counts_ = false;
    socket_.reset();
    abandoned_ = abandoned_ || !queue_.empty();
    queue_.clear();
}

std::string Connection::peerName() const {
    const std::uint32_t module = peerModule_;
    const std::string process = "process " + std::to_string(peer_.process);
    return module == 0 ? process : "module " + std::to_string(module) + " (" + process + ")";
}

Connection::Written Connection::writeSome(std::string_view bytes, std::size_t& written) {
    written = 0;
    while (written < bytes.size()) {
        const ssize_t count = ::send(socket_.get(), bytes.data() + written, bytes.size() - written,
                                     MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count >= 0) {
            written += static_cast<std::size_t>(count);
        } else if (errno == EAGAIN || errno == ENOBUFS || errno == ENOMEM) {
            return Written::some;
        } else if (errno != EINTR) {
            return Written::broken;
        }
    }
    return Written::all;
}

// The peer reads no more. What it sent before must still be read and handled, but for what waited
// behind answers that it did not read.
void Connection::breakOutput() {
    outputBroken_ = true;
    abandoned_ = abandoned_ || !queue_.empty();
    queue_.clear();
    letGo(queuedBytes_);
    queuedBytes_ = 0;
    updateInterest();
}

void Connection::updateInterest() {
    if (!started_ || !socket_.valid()) {
        return;
    }
    const bool reading = !paused_ && !inputEnded_ && !condemned_;
    epoll_event event{};
    event.events = (reading ? EPOLLIN : 0U) | (queue_.empty() ? 0U : EPOLLOUT);
    event.data.u64 = id_;
    // epoll reports a hang-up again and again, even when no event was asked for. So it must not
    // know a paused connection at all.
    const bool wanted = event.events != 0 || !paused_ || condemned_;
    if (wanted && (!registered_ || event.events != interest_)) {
        const int operation = registered_ ? EPOLL_CTL_MOD : EPOLL_CTL_ADD;
        registered_ = epoll_ctl(epoll_, operation, socket_.get(), &event) == 0;
        interest_ = event.events;
    } else if (!wanted && registered_) {
        epoll_ctl(epoll_, EPOLL_CTL_DEL, socket_.get(), nullptr);
        registered_ = false;
    }
}

void Connection::hold(std::size_t bytes) {
    if (counts_) {
        held_ += bytes;
        heldByAll_ += bytes;
    }
}

void Connection::letGo(std::size_t bytes) {
    if (counts_) {
        held_ -= bytes;
        heldByAll_ -= bytes;
    }
}

Arrival::Arrival(Frame received, std::shared_ptr<Connection> connection)
    : frame(std::move(received)),
      from(std::move(connection)),
      charged_(frame.payload.size() + kFrameOverheadBytes) {
    from->charge(charged_);
}

Arrival& Arrival::operator=(Arrival&& other) noexcept {
    std::swap(frame, other.frame);
    std::swap(from, other.from);
    std::swap(charged_, other.charged_);
    return *this;
}

Arrival::~Arrival() {
    if (from != nullptr) {
        from->release(charged_);
    }
}

void condemnForGarbage(const Arrival& arrival) {
    if (arrival.from->condemn()) {
        report(LogLevel::warning, "bus: %s sent something that is not JSON, connection closed",
               arrival.from->peerName().c_str());
    }
}

}  // namespace ostrel::bus
