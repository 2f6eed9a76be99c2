#include "client.h"

#include <algorithm>

#include "accounting_on.h"
#include "ostrel/addresses.h"
#include "ostrel/clock.h"

namespace ostrel::radius {
namespace {

constexpr int kBatch = 64;  // datagrams before other sources get their turn

std::string stationText(const unsigned char* mac) {
    MacBytes bytes{};
    if (mac == nullptr) {
        return "a station";
    }
    std::copy_n(mac, bytes.size(), bytes.begin());
    return macText(bytes);
}

librad_radius_server firstOf(const std::vector<librad_radius_server>& servers) {
    return servers.empty() ? librad_radius_server{} : servers.front();
}

void warnIfUnusable(const Exchange& exchange, const librad_radius_client_config& config,
                    const char* what) {
    if (!exchange.usable()) {
        report(LogLevel::warning,
               "RADIUS: the %s server \"%s\" of %s has no usable address, port or secret; nothing "
               "can be sent to it",
               what, exchange.name().c_str(), config.interfaceName.c_str());
    }
}

}  // namespace

Client::Client(const librad_radius_client_config& config)
    : authentication_(
          LIBRAD_RADIUS_AUTH, firstOf(config.authServers), config.debugLevel,
          [this](int fd) { return watch(fd); }, reports_),
      check_(config.requireMessageAuthenticator, reports_),
      accounting_(
          firstOf(config.acctServers), config.debugLevel, [this](int fd) { return watch(fd); },
          reports_) {
    if (!config.authServers.empty()) {
        warnIfUnusable(authentication_, config, "authentication");
    }
    if (!config.acctServers.empty()) {
        warnIfUnusable(accounting_.exchange(), config, "accounting");
    }
}

bool Client::open() {
    MutexLock lock(mutex_);
    return EventLoop::instance().valid() && authentication_.open() && accounting_.exchange().open();
}

bool Client::watch(int fd) {
    return EventLoop::instance().watch(fd, shared_from_this());
}

void Client::end() {
    bool announcing = false;
    {
        MutexLock lock(mutex_);
        ended_ = true;
        announcing = accounting_.announcing();
        const std::size_t owed = accounting_.spool(0).count;
        if (owed > 0) {
            report(LogLevel::error, "RADIUS: %zu accounting stops owed to %s are lost", owed,
                   accounting_.exchange().name().c_str());
        }
    }
    EventLoop::instance().detach(this);
    {
        MutexLock lock(mutex_);
        authentication_.clear();
        accounting_.exchange().clear();
    }
    if (announcing) {
        settleAccountingOn();
    }
}

void Client::setHandler(librad_radius_handler handler, void* context) {
    MutexLock lock(mutex_);
    handler_ = {handler, context};
}

void Client::setGiveUp(librad_radius_give_up giveUp, void* context) {
    MutexLock lock(mutex_);
    giveUp_ = {giveUp, context};
}

std::uint8_t Client::nextId() {
    MutexLock lock(mutex_);
    return authentication_.suggestId();
}

bool Client::send(librad_radius_msg* msg, librad_radius_kind kind, const unsigned char* mac) {
    const bool accounting = kind == LIBRAD_RADIUS_ACCT;
    const std::uint8_t code =
        accounting ? LIBRAD_RADIUS_CODE_ACCOUNTING_REQUEST : LIBRAD_RADIUS_CODE_ACCESS_REQUEST;
    const std::int64_t now = clock().monotonicMicroseconds();
    MutexLock lock(mutex_);
    if (ended_ || msg == nullptr || librad_radius_msg_get_code(msg) != code ||
        !exchange(kind).usable()) {
        return false;
    }
    const auto request = std::make_shared<Request>();
    request->msg.reset(msg);
    request->happenedAt = now;
    request->station = stationText(mac);
    const bool sent = accounting ? accounting_.send(request, weak_from_this(), now)
                                 : authentication_.submit(request, now);
    if (!sent) {
        // The message stays the caller's.
        [[maybe_unused]] const librad_radius_msg* given = request->msg.release();
    }
    updateDeadline();
    return sent;
}

void Client::releaseAccounting() {
    MutexLock lock(mutex_);
    accounting_.announced();
    if (!ended_) {
        accounting_.exchange().unhold(clock().monotonicMicroseconds());
        updateDeadline();
    }
}

void Client::settleAccountingOn() {
    std::vector<std::weak_ptr<Client>> waiting;
    {
        MutexLock lock(mutex_);
        accounting_.announcementEnded();
        waiting = AccountingOn::instance().settle(accounting_.exchange().name());
    }
    waiting.push_back(weak_from_this());
    for (const std::weak_ptr<Client>& entry : waiting) {
        if (const std::shared_ptr<Client> client = entry.lock()) {
            client->releaseAccounting();
        }
    }
}

// Anybody who can guess a port can send a datagram, so each step takes nothing for granted. What
// fails is counted and has no other effect.
void Client::onReadable(int fd) {
    DatagramBuffer buffer;
    // A callback may end the client, and with it the socket.
    for (int i = 0; i < kBatch && !hasEnded(); ++i) {
        sockaddr_in from{};
        const std::optional<Bytes> datagram = receiveDatagram(fd, buffer, from);
        if (!datagram) {
            break;
        }
        receive(fd, from, *datagram);
    }
}

void Client::receive(int fd, const sockaddr_in& from, Bytes datagram) {
    std::optional<Answer> answer;
    bool accounting = false;
    {
        MutexLock lock(mutex_);
        if (ended_) {
            return;
        }
        accounting = accounting_.exchange().ownsSocket(fd);
        answer = exchange(accounting ? LIBRAD_RADIUS_ACCT : LIBRAD_RADIUS_AUTH)
                     .match(fd, from, datagram);
    }
    if (answer && accounting) {
        receiveAccounting(*answer);
    } else if (answer) {
        receiveAuthentication(std::move(*answer));
    }
}

void Client::receiveAuthentication(Answer answer) {
    Callback<librad_radius_handler> handler;
    librad_secret secret;
    AnswerCheck::Verdict verdict{};
    {
        MutexLock lock(mutex_);
        handler = handler_;
        secret = authentication_.secret();
        verdict = check_.judge(answer, authentication_);
    }
    if (verdict == AnswerCheck::Verdict::refused) {
        return;
    }
    // The handler is told of a forged answer too, to say so in its own words.
    librad_radius_rx_result result = LIBRAD_RADIUS_RX_UNKNOWN;
    if (handler.function != nullptr) {
        librad_radius_msg* msg = answer.msg.release();
        result = handler.function(msg, answer.to.request->msg.get(), secret.data(), secret.size(),
                                  handler.context);
        answer.msg.reset(result == LIBRAD_RADIUS_RX_QUEUED ? nullptr : msg);
    }
    if (verdict == AnswerCheck::Verdict::forged || result == LIBRAD_RADIUS_RX_INVALID) {
        return;
    }
    MutexLock lock(mutex_);
    if (!ended_) {
        ++reports_.counters.answered;
        authentication_.finish(answer.to.request, clock().monotonicMicroseconds());
        updateDeadline();
    }
}

void Client::receiveAccounting(const Answer& answer) {
    {
        MutexLock lock(mutex_);
        // A Stop may have taken its session's other records back meanwhile.
        if (ended_ || !Exchange::isOutstanding(*answer.to.request) ||
            !accounting_.take(answer, clock().monotonicMicroseconds())) {
            return;
        }
        updateDeadline();
    }
    if (answer.to.request->purpose == Purpose::accountingOn) {
        settleAccountingOn();
    }
}

void Client::onDeadline() {
    std::vector<RequestPtr> givenUp;
    Callback<librad_radius_give_up> giveUp;
    bool settled = false;
    {
        MutexLock lock(mutex_);
        if (ended_) {
            return;
        }
        const std::int64_t now = clock().monotonicMicroseconds();
        deadline_ = EventLoop::kNever;
        giveUp = giveUp_;
        givenUp = authentication_.onDeadline(now);
        for (const RequestPtr& request : givenUp) {
            authentication_.reportGivenUp(*request);
        }
        settled = accounting_.onDeadline(now);
        updateDeadline();
    }
    if (settled) {
        settleAccountingOn();
    }
    for (const RequestPtr& request : givenUp) {
        // A callback may have ended the client.
        if (giveUp.function != nullptr && !hasEnded()) {
            giveUp.function(request->msg.get(), giveUp.context);
        }
    }
}

bool Client::hasEnded() {
    MutexLock lock(mutex_);
    return ended_;
}

void Client::updateDeadline() {
    const std::int64_t next = std::min(authentication_.deadline(), accounting_.deadline());
    if (next != deadline_ && !ended_) {
        deadline_ = next;
        EventLoop::instance().setDeadline(shared_from_this(), next);
    }
}

librad_radius_counters Client::counters() {
    MutexLock lock(mutex_);
    return reports_.counters;
}

librad_radius_spool_info Client::spool() {
    MutexLock lock(mutex_);
    return accounting_.spool(clock().monotonicMicroseconds());
}

std::size_t Client::outstanding(librad_radius_kind kind) {
    MutexLock lock(mutex_);
    return exchange(kind).outstanding();
}

std::size_t Client::waiting(librad_radius_kind kind) {
    MutexLock lock(mutex_);
    return exchange(kind).waiting();
}

}  // namespace ostrel::radius

using ostrel::radius::Client;

librad_radius_client* librad_radius_client_init(const librad_radius_client_config* config) {
    auto client = std::make_shared<Client>(*config);
    if (!client->open()) {
        client->end();
        return nullptr;
    }
    return new librad_radius_client{std::move(client)};
}

void librad_radius_client_deinit(librad_radius_client* client) {
    if (client != nullptr) {
        client->impl->end();
        delete client;
    }
}

void librad_radius_client_set_handler(librad_radius_client* client, librad_radius_handler handler,
                                      void* context) {
    client->impl->setHandler(handler, context);
}

void librad_radius_client_set_give_up(librad_radius_client* client, librad_radius_give_up giveUp,
                                      void* context) {
    client->impl->setGiveUp(giveUp, context);
}

std::uint8_t librad_radius_client_get_id(librad_radius_client* client) {
    return client->impl->nextId();
}

int librad_radius_client_send(librad_radius_client* client, librad_radius_msg* msg,
                              librad_radius_kind kind, const unsigned char* mac) {
    return client->impl->send(msg, kind, mac) ? 0 : -1;
}

librad_radius_counters librad_radius_client_get_counters(librad_radius_client* client) {
    return client->impl->counters();
}

librad_radius_spool_info librad_radius_client_get_spool(librad_radius_client* client) {
    return client->impl->spool();
}

std::size_t librad_radius_client_outstanding(librad_radius_client* client,
                                             librad_radius_kind kind) {
    return client->impl->outstanding(kind);
}

std::size_t librad_radius_client_waiting(librad_radius_client* client, librad_radius_kind kind) {
    return client->impl->waiting(kind);
}
