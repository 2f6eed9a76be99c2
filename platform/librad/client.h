#pragma once

// The client of one authentication and one accounting server: sends requests, takes their answers,
// and tells the owner.
//
// Threads: every function from any thread; answers, deadlines and the owner's callbacks on the
// event loop's. The client's lock is taken before that of AccountingOn and of the event loop, never
// two clients' at once, and is not held in a callback.

#include <netinet/in.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "answer_rule.h"
#include "event_loop.h"
#include "exchange.h"
#include "ostrel/mutex.h"
#include "stop_spool.h"

namespace ostrel::radius {

class Client final : public EventSource, public std::enable_shared_from_this<Client> {
public:
    explicit Client(const librad_radius_client_config& config);

    // Opens the sockets; false when the system has none left.
    [[nodiscard]] bool open() EXCLUDES(mutex_);
    void end() EXCLUDES(mutex_);
    void setHandler(librad_radius_handler handler, librad_radius_give_up giveUp, void* context)
        EXCLUDES(mutex_);
    [[nodiscard]] std::uint8_t nextId() EXCLUDES(mutex_);
    // Takes the message when it returns true.
    [[nodiscard]] bool send(librad_radius_msg* msg, librad_radius_kind kind,
                            const unsigned char* mac) EXCLUDES(mutex_);
    // The Accounting-On that this client's records wait for is settled.
    void releaseAccounting() EXCLUDES(mutex_);

    [[nodiscard]] librad_radius_counters counters() EXCLUDES(mutex_);
    [[nodiscard]] librad_radius_spool_info spool() EXCLUDES(mutex_);
    [[nodiscard]] std::size_t outstanding(librad_radius_kind kind) EXCLUDES(mutex_);
    [[nodiscard]] std::size_t waiting(librad_radius_kind kind) EXCLUDES(mutex_);

    void onReadable(int fd) override EXCLUDES(mutex_);
    void onDeadline() override EXCLUDES(mutex_);

private:
    struct Handler {
        librad_radius_handler answer = nullptr;
        librad_radius_give_up giveUp = nullptr;
        void* context = nullptr;
    };

    // An answer that belongs to an outstanding request.
    struct Answer {
        MessagePtr msg;
        InFlight to;
        bool accounting = false;
    };

    Exchange& exchange(librad_radius_kind kind) REQUIRES(mutex_) {
        return kind == LIBRAD_RADIUS_ACCT ? accounting_ : authentication_;
    }
    bool watch(int fd);
    bool hasEnded() EXCLUDES(mutex_);
    bool mayReport() REQUIRES(mutex_);
    void reportGivenUp(const Request& request, const Exchange& exchange) REQUIRES(mutex_);
    // Tells the event loop when this client has something to do next.
    void updateDeadline() REQUIRES(mutex_);

    // client_accounting.cpp
    bool sendAccounting(const RequestPtr& request, std::int64_t now) REQUIRES(mutex_);
    bool sendStop(const RequestPtr& request, std::int64_t now) REQUIRES(mutex_);
    void announceBefore(const librad_radius_msg& start, std::int64_t now) REQUIRES(mutex_);
    void keepStop(MessagePtr msg, std::int64_t happenedAt, std::int64_t now) REQUIRES(mutex_);
    void trySpool(std::int64_t now) REQUIRES(mutex_);
    void settleAccountingOn() EXCLUDES(mutex_);
    // True when the Accounting-On was among them.
    bool loseAccounting(std::vector<RequestPtr> givenUp, std::int64_t now) REQUIRES(mutex_);

    // client_receive.cpp
    void receive(int fd, const sockaddr_in& from, Bytes datagram) EXCLUDES(mutex_);
    bool match(int fd, const sockaddr_in& from, Bytes datagram, Answer& answer) REQUIRES(mutex_);
    void receiveAuthentication(Answer answer) EXCLUDES(mutex_);
    void receiveAccounting(const Answer& answer) EXCLUDES(mutex_);
    bool countsByRule(const Answer& answer) REQUIRES(mutex_);
    void refuse(std::uint64_t& counter, const Exchange& exchange, const char* why) REQUIRES(mutex_);

    Mutex mutex_;
    librad_radius_counters counters_ GUARDED_BY(mutex_);
    Exchange authentication_ GUARDED_BY(mutex_);
    Exchange accounting_ GUARDED_BY(mutex_);
    AnswerRule rule_ GUARDED_BY(mutex_);
    StopSpool spool_ GUARDED_BY(mutex_);
    Handler handler_ GUARDED_BY(mutex_);
    bool ended_ GUARDED_BY(mutex_) = false;
    bool announced_ GUARDED_BY(mutex_) = false;   // the accounting server knows of this NAS
    bool announcing_ GUARDED_BY(mutex_) = false;  // and it is this client that tells it
    std::int64_t deadline_ GUARDED_BY(mutex_) = EventLoop::kNever;
    std::int64_t reportsSince_ GUARDED_BY(mutex_) = 0;
    unsigned int reports_ GUARDED_BY(mutex_) = 0;
};

}  // namespace ostrel::radius

struct librad_radius_client {
    std::shared_ptr<ostrel::radius::Client> impl;
};
