// What a client does with a datagram. Whoever can guess a port can send one, so each step takes
// nothing for granted, and what fails is counted and has no other effect.

#include <sys/socket.h>

#include <array>

#include "authenticators.h"
#include "client.h"
#include "ostrel/clock.h"

namespace ostrel::radius {
namespace {

constexpr int kBatch = 64;  // datagrams before other sources get their turn

bool isExpected(std::uint8_t code, bool accounting) {
    switch (code) {
        case LIBRAD_RADIUS_CODE_ACCESS_ACCEPT:
        case LIBRAD_RADIUS_CODE_ACCESS_REJECT:
        case LIBRAD_RADIUS_CODE_ACCESS_CHALLENGE:
            return !accounting;
        case LIBRAD_RADIUS_CODE_ACCOUNTING_RESPONSE:
            return accounting;
        default:
            return false;
    }
}

bool usesEap(const librad_radius_msg& msg) {
    return findAttribute(msg, LIBRAD_RADIUS_ATTR_EAP_MESSAGE).has_value();
}

}  // namespace

void Client::onReadable(int fd) {
    std::array<std::uint8_t, librad_max_message_length> buffer;
    for (int i = 0; i < kBatch; ++i) {
        sockaddr_in from{};
        socklen_t fromLength = sizeof from;
        const ssize_t length = recvfrom(fd, buffer.data(), buffer.size(), MSG_DONTWAIT,
                                        reinterpret_cast<sockaddr*>(&from), &fromLength);
        if (length < 0) {
            break;
        }
        receive(fd, from, {buffer.data(), static_cast<std::size_t>(length)});
        // A callback may have ended the client, and with it the socket.
        if (hasEnded()) {
            break;
        }
    }
}

void Client::receive(int fd, const sockaddr_in& from, Bytes datagram) {
    Answer answer;
    {
        MutexLock lock(mutex_);
        if (ended_ || !match(fd, from, datagram, answer)) {
            return;
        }
    }
    if (answer.accounting) {
        receiveAccounting(answer);
    } else {
        receiveAuthentication(std::move(answer));
    }
}

bool Client::match(int fd, const sockaddr_in& from, Bytes datagram, Answer& answer) {
    answer.accounting = accounting_.ports().contains(fd);
    Exchange& exchange = answer.accounting ? accounting_ : authentication_;
    if (!exchange.isServer(from)) {
        refuse(counters_.wrongSource, exchange, "datagram from another address or port");
        return false;
    }
    answer.msg.reset(librad_radius_msg_parse(datagram.data, datagram.size));
    if (answer.msg == nullptr) {
        refuse(counters_.malformed, exchange, "malformed answer");
        return false;
    }
    const InFlight* inFlight =
        exchange.ports().find(fd, librad_radius_msg_get_id(answer.msg.get()));
    if (inFlight == nullptr ||
        !isExpected(librad_radius_msg_get_code(answer.msg.get()), answer.accounting)) {
        ++counters_.unexpected;
        return false;
    }
    answer.to = *inFlight;
    return true;
}

void Client::receiveAuthentication(Answer answer) {
    Handler handler;
    librad_secret secret;
    bool authentic = false;
    {
        MutexLock lock(mutex_);
        handler = handler_;
        secret = authentication_.secret();
        authentic = verifyAnswer(*answer.msg, bytesOf(secret), answer.to.authenticator.data());
        if (!authentic) {
            refuse(counters_.badAuthenticator, authentication_, "wrong Response Authenticator");
        } else if (!countsByRule(answer)) {
            return;
        }
    }
    librad_radius_rx_result result = LIBRAD_RADIUS_RX_UNKNOWN;
    if (handler.answer != nullptr) {
        librad_radius_msg* msg = answer.msg.release();
        result = handler.answer(msg, answer.to.request->msg.get(), secret.data(), secret.size(),
                                handler.context);
        answer.msg.reset(result == LIBRAD_RADIUS_RX_QUEUED ? nullptr : msg);
    }
    if (!authentic || result == LIBRAD_RADIUS_RX_INVALID) {
        return;
    }
    MutexLock lock(mutex_);
    if (!ended_) {
        ++counters_.answered;
        authentication_.finish(answer.to.request, clock().monotonicMicroseconds());
        updateDeadline();
    }
}

bool Client::countsByRule(const Answer& answer) {
    const bool eapUsed = usesEap(*answer.msg) || usesEap(*answer.to.request->msg);
    const AnswerRule::Verdict verdict =
        rule_.judge(librad_radius_msg_get_code(answer.msg.get()), eapUsed,
                    checkMessageAuthenticator(*answer.msg, bytesOf(authentication_.secret()),
                                              answer.to.authenticator.data()));
    if (rule_.takeWarning()) {
        report(LogLevel::warning,
               "RADIUS: %s sends no Message-Authenticator, its answers could be forged",
               authentication_.name().c_str());
    }
    switch (verdict) {
        case AnswerRule::Verdict::counts:
            return true;
        case AnswerRule::Verdict::missing:
            refuse(counters_.badAuthenticator, authentication_, "no Message-Authenticator");
            return false;
        case AnswerRule::Verdict::invalid:
            refuse(counters_.badAuthenticator, authentication_, "wrong Message-Authenticator");
            return false;
    }
    return false;
}

void Client::receiveAccounting(const Answer& answer) {
    const std::uint8_t* authenticator = answer.to.authenticator.data();
    {
        MutexLock lock(mutex_);
        const Bytes secret = bytesOf(accounting_.secret());
        // A Stop may have taken its session's other records back meanwhile.
        if (ended_ || !Exchange::isOutstanding(*answer.to.request)) {
            return;
        }
        if (!verifyAnswer(*answer.msg, secret, authenticator) ||
            checkMessageAuthenticator(*answer.msg, secret, authenticator) ==
                MessageAuthenticator::invalid) {
            refuse(counters_.badAuthenticator, accounting_, "wrong authenticator");
            return;
        }
        const std::int64_t now = clock().monotonicMicroseconds();
        ++counters_.answered;
        accounting_.finish(answer.to.request, now);
        if (answer.to.request->purpose == Purpose::spooledStop) {
            spool_.answered(now);
        }
        spool_.hurry(now);
        trySpool(now);
        updateDeadline();
    }
    if (answer.to.request->purpose == Purpose::accountingOn) {
        settleAccountingOn();
    }
}

void Client::refuse(std::uint64_t& counter, const Exchange& exchange, const char* why) {
    ++counter;
    if (mayReport()) {
        report(LogLevel::warning, "RADIUS: %s: %s, dropped", exchange.name().c_str(), why);
    }
}

}  // namespace ostrel::radius
