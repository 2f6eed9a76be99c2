#include "client.h"

#include <algorithm>
#include <cstdio>

#include "ostrel/clock.h"

namespace ostrel::radius {
namespace {

constexpr unsigned int kReportsASecond = 5;  // so that a flood or an outage does not fill the log

std::string stationText(const unsigned char* mac) {
    if (mac == nullptr) {
        return "a station";
    }
    char text[18];
    std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2],
                  mac[3], mac[4], mac[5]);
    return text;
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
          firstOf(config.authServers), config.debugLevel, [this](int fd) { return watch(fd); },
          counters_),
      accounting_(
          firstOf(config.acctServers), config.debugLevel, [this](int fd) { return watch(fd); },
          counters_),
      rule_(config.requireMessageAuthenticator) {
    if (!config.authServers.empty()) {
        warnIfUnusable(authentication_, config, "authentication");
    }
    if (!config.acctServers.empty()) {
        warnIfUnusable(accounting_, config, "accounting");
    }
}

bool Client::open() {
    MutexLock lock(mutex_);
    return EventLoop::instance().valid() && (!authentication_.usable() || authentication_.open()) &&
           (!accounting_.usable() || accounting_.open());
}

bool Client::watch(int fd) {
    return EventLoop::instance().watch(fd, shared_from_this());
}

void Client::end() {
    bool announcing = false;
    {
        MutexLock lock(mutex_);
        ended_ = true;
        announcing = announcing_;
        const std::size_t owed = spool_.info(0).count;
        if (owed > 0) {
            report(LogLevel::error, "RADIUS: %zu accounting stops owed to %s are lost", owed,
                   accounting_.name().c_str());
        }
    }
    EventLoop::instance().detach(this);
    {
        MutexLock lock(mutex_);
        authentication_.clear();
        accounting_.clear();
    }
    if (announcing) {
        settleAccountingOn();
    }
}

void Client::setHandler(librad_radius_handler handler, librad_radius_give_up giveUp,
                        void* context) {
    MutexLock lock(mutex_);
    handler_ = {handler, giveUp, context};
}

std::uint8_t Client::nextId() {
    MutexLock lock(mutex_);
    return authentication_.ports().suggest();
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
    const bool sent =
        accounting ? sendAccounting(request, now) : authentication_.submit(request, now);
    if (!sent) {
        // The message stays the caller's.
        [[maybe_unused]] const librad_radius_msg* given = request->msg.release();
    }
    updateDeadline();
    return sent;
}

void Client::onDeadline() {
    std::vector<RequestPtr> givenUp;
    Handler handler;
    bool settled = false;
    {
        MutexLock lock(mutex_);
        if (ended_) {
            return;
        }
        const std::int64_t now = clock().monotonicMicroseconds();
        deadline_ = EventLoop::kNever;
        handler = handler_;
        givenUp = authentication_.onDeadline(now);
        for (const RequestPtr& request : givenUp) {
            reportGivenUp(*request, authentication_);
        }
        settled = loseAccounting(accounting_.onDeadline(now), now);
        trySpool(now);
        updateDeadline();
    }
    if (settled) {
        settleAccountingOn();
    }
    for (const RequestPtr& request : givenUp) {
        // A callback may have ended the client.
        if (handler.giveUp != nullptr && !hasEnded()) {
            handler.giveUp(request->msg.get(), handler.context);
        }
    }
}

bool Client::hasEnded() {
    MutexLock lock(mutex_);
    return ended_;
}

void Client::reportGivenUp(const Request& request, const Exchange& exchange) {
    if (mayReport()) {
        report(LogLevel::warning,
               "RADIUS: %s did not answer, a request of type %u for %s is given up",
               exchange.name().c_str(), request.statusType, request.station.c_str());
    }
}

bool Client::mayReport() {
    const std::int64_t now = monotonicSeconds();
    if (now != reportsSince_) {
        reportsSince_ = now;
        reports_ = 0;
    }
    return ++reports_ <= kReportsASecond;
}

void Client::updateDeadline() {
    const std::int64_t next =
        std::min({authentication_.deadline(), accounting_.deadline(), spool_.nextAttempt()});
    if (next != deadline_ && !ended_) {
        deadline_ = next;
        EventLoop::instance().setDeadline(shared_from_this(), next);
    }
}

librad_radius_counters Client::counters() {
    MutexLock lock(mutex_);
    return counters_;
}

librad_radius_spool_info Client::spool() {
    MutexLock lock(mutex_);
    return spool_.info(clock().monotonicMicroseconds());
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
                                      librad_radius_give_up giveUp, void* context) {
    client->impl->setHandler(handler, giveUp, context);
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
