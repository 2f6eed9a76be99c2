#pragma once

// The client of one authentication and one accounting server: sends requests, takes their answers,
// and tells the owner.
//
// Threads: every function from any thread. Answers, deadlines and the owner's callbacks run on the
// event loop's thread. The client's lock is not held in a callback, and two clients' locks are
// never held at once. The locks of AccountingOn and of the event loop are taken after it.

#include <netinet/in.h>

#include <cstdint>
#include <memory>

#include "accounting_exchange.h"
#include "answer_check.h"
#include "event_loop.h"
#include "exchange.h"
#include "ostrel/mutex.h"

namespace ostrel::radius {

class Client final : public EventSource, public std::enable_shared_from_this<Client> {
public:
    explicit Client(const librad_radius_client_config& config);

    // Opens the sockets; false when the system has none left.
    [[nodiscard]] bool open() EXCLUDES(mutex_);
    void end() EXCLUDES(mutex_);
    void setHandler(librad_radius_handler handler, void* context) EXCLUDES(mutex_);
    void setGiveUp(librad_radius_give_up giveUp, void* context) EXCLUDES(mutex_);
    [[nodiscard]] std::uint8_t nextId() EXCLUDES(mutex_);
    // Takes the message over when it returns true.
    [[nodiscard]] bool send(librad_radius_msg* msg, librad_radius_kind kind,
                            const unsigned char* mac) EXCLUDES(mutex_);
    // The Accounting-On that this client's records wait for has been answered or given up.
    void releaseAccounting() EXCLUDES(mutex_);

    [[nodiscard]] librad_radius_counters counters() EXCLUDES(mutex_);
    [[nodiscard]] librad_radius_spool_info spool() EXCLUDES(mutex_);
    [[nodiscard]] std::size_t outstanding(librad_radius_kind kind) EXCLUDES(mutex_);
    [[nodiscard]] std::size_t waiting(librad_radius_kind kind) EXCLUDES(mutex_);

    void onReadable(int fd) override EXCLUDES(mutex_);
    void onDeadline() override EXCLUDES(mutex_);

private:
    template <class Function>
    struct Callback {
        Function function = nullptr;
        void* context = nullptr;
    };

    Exchange& exchange(librad_radius_kind kind) REQUIRES(mutex_) {
        return kind == LIBRAD_RADIUS_ACCT ? accounting_.exchange() : authentication_;
    }
    bool watch(int fd);
    bool hasEnded() EXCLUDES(mutex_);
    void receive(int fd, const sockaddr_in& from, Bytes datagram) EXCLUDES(mutex_);
    void receiveAuthentication(Answer answer) EXCLUDES(mutex_);
    void receiveAccounting(const Answer& answer) EXCLUDES(mutex_);
    // Lets the records go that wait for this client's Accounting-On, its own and other clients'.
    void settleAccountingOn() EXCLUDES(mutex_);
    // Tells the event loop when this client has something to do next.
    void updateDeadline() REQUIRES(mutex_);

    Mutex mutex_;
    ClientReports reports_ GUARDED_BY(mutex_);
    Exchange authentication_ GUARDED_BY(mutex_);
    AnswerCheck check_ GUARDED_BY(mutex_);
    AccountingExchange accounting_ GUARDED_BY(mutex_);
    Callback<librad_radius_handler> handler_ GUARDED_BY(mutex_);
    Callback<librad_radius_give_up> giveUp_ GUARDED_BY(mutex_);
    bool ended_ GUARDED_BY(mutex_) = false;
    std::int64_t deadline_ GUARDED_BY(mutex_) = EventLoop::kNever;
};

}  // namespace ostrel::radius

struct librad_radius_client {
    std::shared_ptr<ostrel::radius::Client> impl;
};
