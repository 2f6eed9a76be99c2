#pragma once

// A client's exchange with its accounting server: what goes out before a Start, which records a
// Stop takes back, and what becomes of a record that is given up.
//
// Threads: guarded by the client's lock. Times are monotonic microseconds.

#include <cstdint>
#include <memory>

#include "exchange.h"
#include "stop_spool.h"

namespace ostrel::radius {

class Client;

class AccountingExchange {
public:
    // As Exchange is made.
    AccountingExchange(const librad_radius_server& server, int debugLevel, UdpPorts::Watch watch,
                       ClientReports& reports)
        : reports_(reports),
          exchange_(LIBRAD_RADIUS_ACCT, server, debugLevel, std::move(watch), reports) {}

    [[nodiscard]] Exchange& exchange() { return exchange_; }
    [[nodiscard]] const Exchange& exchange() const { return exchange_; }

    // Takes an Accounting-Request over. `client` is told by releaseAccounting() when it has to wait
    // for another client's Accounting-On. False when too many requests wait.
    [[nodiscard]] bool send(const RequestPtr& request, const std::weak_ptr<Client>& client,
                            std::int64_t now);
    // Takes an answer: true when it was genuine, and its request is over by it.
    [[nodiscard]] bool take(const Answer& answer, std::int64_t now);
    // Retransmits, gives up and retries what is due. True when the Accounting-On was given up.
    [[nodiscard]] bool onDeadline(std::int64_t now);
    [[nodiscard]] std::int64_t deadline() const;

    // Whether it is this client that tells the server of this NAS.
    [[nodiscard]] bool announcing() const { return announcing_; }
    // The server knows of this NAS, or has ignored it for good.
    void announced() { announced_ = true; }
    void announcementEnded() { announcing_ = false; }

    [[nodiscard]] librad_radius_spool_info spool(std::int64_t now) const {
        return spool_.info(now);
    }

private:
    bool sendStop(const RequestPtr& request, std::int64_t now);
    void announceBefore(const librad_radius_msg& start, const std::weak_ptr<Client>& client,
                        std::int64_t now);
    void keepStop(MessagePtr msg, std::int64_t happenedAt, std::int64_t now);
    // Sends the next owed Stop, if it is due.
    void trySpool(std::int64_t now);

    ClientReports& reports_;
    Exchange exchange_;
    StopSpool spool_;
    bool announced_ = false;
    bool announcing_ = false;
};

}  // namespace ostrel::radius
