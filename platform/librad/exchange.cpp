#include "exchange.h"

#include <arpa/inet.h>

#include <cerrno>
#include <cstring>

#include "authenticators.h"
#include "event_loop.h"
#include "ostrel/addresses.h"

namespace ostrel::radius {
namespace {

constexpr int kPacketDebugLevel = 4;

bool isAuthentication(const Request& request) {
    return request.purpose == Purpose::authentication;
}

}  // namespace

Exchange::Exchange(librad_radius_kind kind, const librad_radius_server& server, int debugLevel,
                   UdpPorts::Watch watch, ClientReports& reports)
    : kind_(kind),
      server_(server),
      name_(server.address + ":" + std::to_string(server.port)),
      debugLevel_(debugLevel),
      watch_(std::move(watch)),
      reports_(reports) {
    address_.sin_family = AF_INET;
    address_.sin_port = htons(server.port);
    const std::optional<in_addr> address = parseIpv4(server.address);
    address_.sin_addr = address.value_or(in_addr{});
    usable_ = address && server.port != 0 && !server.sharedSecret.empty();
}

bool Exchange::isServer(const sockaddr_in& from) const {
    return from.sin_family == AF_INET && from.sin_port == address_.sin_port &&
           from.sin_addr.s_addr == address_.sin_addr.s_addr;
}

bool Exchange::isAnswerCode(std::uint8_t code) const {
    switch (code) {
        case LIBRAD_RADIUS_CODE_ACCESS_ACCEPT:
        case LIBRAD_RADIUS_CODE_ACCESS_REJECT:
        case LIBRAD_RADIUS_CODE_ACCESS_CHALLENGE:
            return kind_ == LIBRAD_RADIUS_AUTH;
        case LIBRAD_RADIUS_CODE_ACCOUNTING_RESPONSE:
            return kind_ == LIBRAD_RADIUS_ACCT;
        default:
            return false;
    }
}

bool Exchange::submit(const RequestPtr& request, std::int64_t now) {
    if (!held_ && waiting_.empty() && submitAhead(request, now)) {
        return true;
    }
    if (waiting_.size() >= kMaxWaiting) {
        return false;
    }
    waiting_.push_back(request);
    return true;
}

bool Exchange::submitAhead(const RequestPtr& request, std::int64_t now) {
    const auto slot = ports_.take(librad_radius_msg_get_id(request->msg.get()), watch_);
    if (!slot) {
        return false;
    }
    request->slots.assign(1, *slot);
    request->timer.begin(now);
    request->place = byDeadline_.emplace(request->timer.deadline(), request);
    transmit(request, *slot, now);
    return true;
}

void Exchange::unhold(std::int64_t now) {
    held_ = false;
    sendWaiting(now);
}

void Exchange::finish(const RequestPtr& request, std::int64_t now) {
    forget(request);
    sendWaiting(now);
}

void Exchange::forget(const RequestPtr& request) {
    byDeadline_.erase(request->place);
    for (const UdpPorts::Slot slot : request->slots) {
        ports_.release(slot);
    }
    request->slots.clear();
}

std::optional<Answer> Exchange::match(int fd, const sockaddr_in& from, Bytes datagram) {
    if (!isServer(from)) {
        reports_.dropped(&librad_radius_counters::wrongSource, name_,
                         "datagram from another address or port");
        return std::nullopt;
    }
    MessagePtr msg(librad_radius_msg_parse(datagram.data, datagram.size));
    if (msg == nullptr) {
        reports_.dropped(&librad_radius_counters::malformed, name_, "malformed answer");
        return std::nullopt;
    }
    const InFlight* inFlight = ports_.find(fd, librad_radius_msg_get_id(msg.get()));
    if (inFlight == nullptr || !isAnswerCode(librad_radius_msg_get_code(msg.get()))) {
        ++reports_.counters.unexpected;
        return std::nullopt;
    }
    return Answer{std::move(msg), *inFlight};
}

void Exchange::withdraw(const std::string& sessionId, std::uint32_t statusType, std::int64_t now) {
    const auto matches = [&](const RequestPtr& request) {
        return request->purpose == Purpose::accounting && request->sessionId == sessionId &&
               (statusType == 0 || request->statusType == statusType);
    };
    waiting_.remove_if(matches);
    std::vector<RequestPtr> withdrawn;
    for (const auto& [due, request] : byDeadline_) {
        if (matches(request)) {
            withdrawn.push_back(request);
        }
    }
    for (const RequestPtr& request : withdrawn) {
        forget(request);
    }
    sendWaiting(now);
}

std::vector<RequestPtr> Exchange::onDeadline(std::int64_t now) {
    std::vector<RequestPtr> givenUp;
    while (!byDeadline_.empty() && byDeadline_.begin()->first <= now) {
        const RequestPtr request = byDeadline_.begin()->second;
        if (request->timer.next(now)) {
            retransmit(request, now);
        } else {
            forget(request);
            ++reports_.counters.givenUp;
            givenUp.push_back(request);
        }
    }
    sendWaiting(now);
    return givenUp;
}

std::int64_t Exchange::deadline() const {
    return byDeadline_.empty() ? EventLoop::kNever : byDeadline_.begin()->first;
}

void Exchange::reportGivenUp(const Request& request) {
    if (reports_.mayReport()) {
        report(LogLevel::warning,
               "RADIUS: %s did not answer, a request of type %u for %s is given up", name_.c_str(),
               request.statusType, request.station.c_str());
    }
}

void Exchange::clear() {
    for (const auto& [due, request] : byDeadline_) {
        request->slots.clear();
    }
    byDeadline_.clear();
    waiting_.clear();
    ports_.closeAll();
}

void Exchange::sendWaiting(std::int64_t now) {
    while (!held_ && !waiting_.empty() && submitAhead(waiting_.front(), now)) {
        waiting_.pop_front();
    }
}

// Writes what depends on the identifier and the moment, signs and sends.
void Exchange::transmit(const RequestPtr& request, UdpPorts::Slot slot, std::int64_t now) {
    librad_radius_msg& msg = *request->msg;
    setIdentifier(msg, slot.id);
    bool signedWell = false;
    if (isAuthentication(*request)) {
        signedWell = signAccessRequest(msg, bytesOf(secret()));
    } else {
        replaceInteger(msg, LIBRAD_RADIUS_ATTR_ACCT_DELAY_TIME,
                       static_cast<std::uint32_t>((now - request->happenedAt) / 1000000));
        signedWell = signRequest(msg, bytesOf(secret()));
    }
    if (!signedWell) {
        report(LogLevel::error, "RADIUS: a request to %s can't be signed: no MD5", name_.c_str());
    }
    Digest authenticator{};
    std::copy_n(librad_radius_msg_get_authenticator(&msg), authenticator.size(),
                authenticator.begin());
    ports_.put(slot, {request, authenticator});
    if (signedWell) {
        sendPacket(*request, slot);
    }
}

void Exchange::retransmit(const RequestPtr& request, std::int64_t now) {
    byDeadline_.erase(request->place);
    request->place = byDeadline_.emplace(request->timer.deadline(), request);
    ++reports_.counters.retransmitted;
    if (isAuthentication(*request)) {
        sendPacket(*request, request->slots.front());
        return;
    }
    // A changed Acct-Delay-Time needs another identifier (RFC 2866 section 5.2). When none is left
    // the packet goes out as it was.
    const auto wanted = static_cast<std::uint8_t>(librad_radius_msg_get_id(request->msg.get()) + 1);
    const auto slot = ports_.take(wanted, watch_);
    if (!slot) {
        sendPacket(*request, request->slots.back());
        return;
    }
    request->slots.push_back(*slot);
    transmit(request, *slot, now);
}

void Exchange::sendPacket(const Request& request, UdpPorts::Slot slot) {
    const librad_radius_msg& msg = *request.msg;
    ++reports_.counters.sent;
    if (ports_.send(slot, {msg.bytes.data(), msg.bytes.size()}, address_)) {
        reportedSendError_ = false;
    } else if (!reportedSendError_) {
        // The next transmission is the remedy, whatever it was.
        report(LogLevel::warning, "RADIUS: sending to %s: %s", name_.c_str(), std::strerror(errno));
        reportedSendError_ = true;
    }
    if (debugLevel_ >= kPacketDebugLevel) {
        report(LogLevel::debug, "RADIUS: sent code %u identifier %u to %s, try %u",
               librad_radius_msg_get_code(&msg), librad_radius_msg_get_id(&msg), name_.c_str(),
               request.timer.tries());
    }
}

}  // namespace ostrel::radius
