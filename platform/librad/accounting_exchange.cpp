#include "accounting_exchange.h"

#include <algorithm>

#include "accounting.h"
#include "accounting_on.h"
#include "authenticators.h"

namespace ostrel::radius {

bool AccountingExchange::send(const RequestPtr& request, const std::weak_ptr<Client>& client,
                              std::int64_t now) {
    const librad_radius_msg& msg = *request->msg;
    request->purpose = Purpose::accounting;
    request->sessionId = textOf(msg, LIBRAD_RADIUS_ATTR_ACCT_SESSION_ID);
    request->statusType = integerOf(msg, LIBRAD_RADIUS_ATTR_ACCT_STATUS_TYPE).value_or(0);
    switch (static_cast<StatusType>(request->statusType)) {
        case StatusType::start:
            if (!announced_ && !exchange_.held()) {
                announceBefore(msg, client, now);
            }
            break;
        case StatusType::interimUpdate:
            // The newer figures make the older ones needless.
            exchange_.withdraw(request->sessionId, request->statusType, now);
            break;
        case StatusType::stop:
            return sendStop(request, now);
        case StatusType::accountingOn:
            break;
    }
    return exchange_.submit(request, now);
}

bool AccountingExchange::sendStop(const RequestPtr& request, std::int64_t now) {
    request->purpose = Purpose::stop;
    // A Start that is repeated after the Stop would open the session again.
    exchange_.withdraw(request->sessionId, 0, now);
    const std::string station = textOf(*request->msg, LIBRAD_RADIUS_ATTR_CALLING_STATION_ID);
    if (spool_.holds(station) || !exchange_.submit(request, now)) {
        keepStop(std::move(request->msg), now, now);
    }
    return true;
}

void AccountingExchange::announceBefore(const librad_radius_msg& start,
                                        const std::weak_ptr<Client>& client, std::int64_t now) {
    const auto request = std::make_shared<Request>();
    request->purpose = Purpose::accountingOn;
    request->statusType = static_cast<std::uint32_t>(StatusType::accountingOn);
    request->happenedAt = now;
    request->msg = makeAccountingOn(start);
    // A client that takes the turn must use it, because others wait for that.
    if (request->msg == nullptr || !exchange_.hasRoom()) {
        return;
    }
    switch (AccountingOn::instance().take(exchange_.name(), client)) {
        case AccountingOn::Turn::proceed:
            announced_ = true;
            return;
        case AccountingOn::Turn::wait:
            exchange_.hold();
            return;
        case AccountingOn::Turn::announce:
            break;
    }
    announcing_ = exchange_.submitAhead(request, now);
    exchange_.hold();
}

bool AccountingExchange::take(const Answer& answer, std::int64_t now) {
    const std::uint8_t* authenticator = answer.to.authenticator.data();
    const Bytes secret = bytesOf(exchange_.secret());
    if (!verifyAnswer(*answer.msg, secret, authenticator) ||
        checkMessageAuthenticator(*answer.msg, secret, authenticator) ==
            MessageAuthenticator::invalid) {
        reports_.dropped(&librad_radius_counters::badAuthenticator, exchange_.name(),
                         "wrong authenticator");
        return false;
    }
    ++reports_.counters.answered;
    exchange_.finish(answer.to.request, now);
    if (answer.to.request->purpose == Purpose::spooledStop) {
        spool_.answered(now);
    }
    spool_.hurry(now);
    trySpool(now);
    return true;
}

bool AccountingExchange::onDeadline(std::int64_t now) {
    bool lostAnnouncement = false;
    for (const RequestPtr& request : exchange_.onDeadline(now)) {
        switch (request->purpose) {
            case Purpose::stop:
                keepStop(std::move(request->msg), request->happenedAt, now);
                break;
            case Purpose::spooledStop:
                spool_.ignored(std::move(request->msg), request->timer.tries(), now);
                break;
            case Purpose::accountingOn:
                lostAnnouncement = true;
                [[fallthrough]];
            case Purpose::authentication:
            case Purpose::accounting:
                exchange_.reportGivenUp(*request);
                break;
        }
    }
    trySpool(now);
    return lostAnnouncement;
}

std::int64_t AccountingExchange::deadline() const {
    return std::min(exchange_.deadline(), spool_.nextAttempt());
}

void AccountingExchange::keepStop(MessagePtr msg, std::int64_t happenedAt, std::int64_t now) {
    const bool kept = spool_.append(std::move(msg), happenedAt, now);
    if (!reports_.mayReport()) {
        return;
    }
    if (!kept) {
        report(LogLevel::error, "RADIUS: the oldest accounting stop owed to %s is lost: too many",
               exchange_.name().c_str());
    }
    spool_.reportSize(exchange_.name(), now);
}

void AccountingExchange::trySpool(std::int64_t now) {
    if (spool_.nextAttempt() > now) {
        return;
    }
    const RequestPtr request = spool_.beginAttempt();
    if (exchange_.held() || !exchange_.submitAhead(request, now)) {
        spool_.ignored(std::move(request->msg), 0, now);
    }
}

}  // namespace ostrel::radius
