// A client's accounting records: what goes out before a Start, what a Stop takes back, and what
// becomes of a record that is given up.

#include "accounting.h"
#include "accounting_on.h"
#include "client.h"
#include "ostrel/clock.h"

namespace ostrel::radius {

bool Client::sendAccounting(const RequestPtr& request, std::int64_t now) {
    const librad_radius_msg& msg = *request->msg;
    request->purpose = Purpose::accounting;
    request->sessionId = textOf(msg, LIBRAD_RADIUS_ATTR_ACCT_SESSION_ID);
    request->statusType = integerOf(msg, LIBRAD_RADIUS_ATTR_ACCT_STATUS_TYPE).value_or(0);
    switch (static_cast<StatusType>(request->statusType)) {
        case StatusType::start:
            if (!announced_ && !accounting_.held()) {
                announceBefore(msg, now);
            }
            break;
        case StatusType::interimUpdate:
            // The newer figures make the older ones needless.
            accounting_.withdraw(request->sessionId, request->statusType, now);
            break;
        case StatusType::stop:
            return sendStop(request, now);
        case StatusType::accountingOn:
            break;
    }
    return accounting_.submit(request, now);
}

bool Client::sendStop(const RequestPtr& request, std::int64_t now) {
    request->purpose = Purpose::stop;
    // A Start that is repeated after the Stop would open the session again.
    accounting_.withdraw(request->sessionId, 0, now);
    const std::string station = textOf(*request->msg, LIBRAD_RADIUS_ATTR_CALLING_STATION_ID);
    if (spool_.holds(station) || !accounting_.submit(request, now)) {
        keepStop(std::move(request->msg), now, now);
    }
    return true;
}

void Client::announceBefore(const librad_radius_msg& start, std::int64_t now) {
    const auto request = std::make_shared<Request>();
    request->purpose = Purpose::accountingOn;
    request->statusType = static_cast<std::uint32_t>(StatusType::accountingOn);
    request->happenedAt = now;
    request->msg = makeAccountingOn(start);
    // Who takes the turn must use it, as others wait for that.
    if (request->msg == nullptr || !accounting_.hasRoom()) {
        return;
    }
    switch (AccountingOn::instance().take(accounting_.name(), weak_from_this())) {
        case AccountingOn::Turn::proceed:
            announced_ = true;
            return;
        case AccountingOn::Turn::wait:
            accounting_.hold();
            return;
        case AccountingOn::Turn::announce:
            break;
    }
    announcing_ = accounting_.submitAhead(request, now);
    accounting_.hold();
}

void Client::keepStop(MessagePtr msg, std::int64_t happenedAt, std::int64_t now) {
    const bool kept = spool_.append(std::move(msg), happenedAt, now);
    if (!mayReport()) {
        return;
    }
    if (!kept) {
        report(LogLevel::error, "RADIUS: the oldest accounting stop owed to %s is lost: too many",
               accounting_.name().c_str());
    }
    spool_.reportSize(accounting_.name(), now);
}

void Client::trySpool(std::int64_t now) {
    if (spool_.nextAttempt() > now) {
        return;
    }
    const RequestPtr request = spool_.beginAttempt();
    if (accounting_.held() || !accounting_.submitAhead(request, now)) {
        spool_.ignored(std::move(request->msg), 0, now);
    }
}

void Client::settleAccountingOn() {
    std::vector<std::weak_ptr<Client>> waiting;
    {
        MutexLock lock(mutex_);
        announcing_ = false;
        waiting = AccountingOn::instance().settle(accounting_.name());
    }
    waiting.push_back(weak_from_this());
    for (const std::weak_ptr<Client>& entry : waiting) {
        if (const std::shared_ptr<Client> client = entry.lock()) {
            client->releaseAccounting();
        }
    }
}

void Client::releaseAccounting() {
    MutexLock lock(mutex_);
    announced_ = true;
    if (!ended_) {
        accounting_.unhold(clock().monotonicMicroseconds());
        updateDeadline();
    }
}

bool Client::loseAccounting(std::vector<RequestPtr> givenUp, std::int64_t now) {
    bool settled = false;
    for (const RequestPtr& request : givenUp) {
        switch (request->purpose) {
            case Purpose::stop:
                keepStop(std::move(request->msg), request->happenedAt, now);
                break;
            case Purpose::spooledStop:
                spool_.ignored(std::move(request->msg), request->timer.tries(), now);
                break;
            case Purpose::accountingOn:
                settled = true;
                [[fallthrough]];
            case Purpose::authentication:
            case Purpose::accounting:
                reportGivenUp(*request, accounting_);
                break;
        }
    }
    return settled;
}

}  // namespace ostrel::radius
