#include "das.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "authenticators.h"
#include "ostrel/addresses.h"
#include "ostrel/clock.h"
#include "udp_ports.h"

namespace ostrel::radius {
namespace {

constexpr int kBatch = 16;  // datagrams before other sources get their turn
constexpr std::int64_t kMemorySeconds = 300;
constexpr std::size_t kMemoryEntries = 1024;
constexpr int kDefaultTimeWindow = 300;  // RFC 5176 section 6.3
constexpr std::int64_t kBuildDay = OSTREL_BUILD_DAY;

}  // namespace

const std::vector<std::uint8_t>* AnswerMemory::find(const Key& key, std::int64_t now) {
    while (!entries_.empty() && entries_.front().at + kMemorySeconds < now) {
        entries_.pop_front();
    }
    const auto found = std::find_if(entries_.begin(), entries_.end(),
                                    [&](const Entry& entry) { return entry.key == key; });
    return found == entries_.end() ? nullptr : &found->answer;
}

void AnswerMemory::add(const Key& key, std::vector<std::uint8_t> answer, std::int64_t now) {
    if (entries_.size() >= kMemoryEntries) {
        entries_.pop_front();
    }
    entries_.push_back({key, std::move(answer), now});
}

DasServer::DasServer(const sockaddr_in& address, int timeWindowSeconds, bool requireEventTimestamp,
                     void* context, const librad_radius_das_config& config)
    : address_(address),
      timeWindow_(timeWindowSeconds > 0 ? timeWindowSeconds : kDefaultTimeWindow),
      requireEventTimestamp_(requireEventTimestamp),
      context_(context),
      config_(config) {}

bool DasServer::start() {
    if (open()) {
        return true;
    }
    const int error = errno;
    const int retry = config_.retrySeconds;
    report(LogLevel::error, "RADIUS: disconnect requests on %s:%u can't be taken: %s%s",
           ipv4Text(address_.sin_addr).c_str(), ntohs(address_.sin_port), std::strerror(error),
           retry > 0 ? "; trying again" : "");
    if (retry > 0) {
        EventLoop::instance().setDeadline(shared_from_this(), nextTry());
    }
    errno = error;
    return retry > 0;
}

void DasServer::onDeadline() {
    if (hasEnded()) {
        return;
    }
    if (open()) {
        report(LogLevel::warning, "RADIUS: disconnect requests on %s:%u are taken now",
               ipv4Text(address_.sin_addr).c_str(), port());
    } else {
        EventLoop::instance().setDeadline(shared_from_this(), nextTry());
    }
}

std::int64_t DasServer::nextTry() const {
    return clock().monotonicMicroseconds() + std::int64_t{config_.retrySeconds} * 1000000;
}

bool DasServer::open() {
    socket_.reset(::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    sockaddr_in bound{};
    socklen_t length = sizeof bound;
    if (!socket_.valid() ||
        bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address_), sizeof address_) != 0 ||
        getsockname(socket_.get(), reinterpret_cast<sockaddr*>(&bound), &length) != 0 ||
        !EventLoop::instance().watch(socket_.get(), shared_from_this())) {
        return false;
    }
    port_ = ntohs(bound.sin_port);
    return true;
}

void DasServer::setNas(const unsigned char* ipAddress, std::string_view identifier) {
    MutexLock lock(mutex_);
    nasIpAddress_ = ipAddress != nullptr ? std::string(ipAddress, ipAddress + 4) : "";
    nasIdentifier_ = identifier;
}

librad_radius_das_counters DasServer::counters() {
    MutexLock lock(mutex_);
    return counters_;
}

void DasServer::end() {
    MutexLock lock(mutex_);
    ended_ = true;
}

bool DasServer::hasEnded() {
    MutexLock lock(mutex_);
    return ended_;
}

void DasServer::onReadable(int fd) {
    DatagramBuffer buffer;
    for (int i = 0; i < kBatch && !hasEnded(); ++i) {
        sockaddr_in from{};
        const std::optional<Bytes> datagram = receiveDatagram(fd, buffer, from);
        if (!datagram) {
            break;
        }
        handle(*datagram, from);
    }
}

void DasServer::handle(Bytes datagram, const sockaddr_in& from) {
    const MessagePtr request(librad_radius_msg_parse(datagram.data, datagram.size));
    if (request == nullptr) {
        count(&librad_radius_das_counters::malformed);
        return;
    }
    const std::uint8_t code = librad_radius_msg_get_code(request.get());
    if (code != LIBRAD_RADIUS_CODE_DISCONNECT_REQUEST && code != LIBRAD_RADIUS_CODE_COA_REQUEST) {
        drop(from, "not a request of dynamic authorisation");
        return;
    }
    AnswerMemory::Key key{
        from.sin_addr.s_addr, from.sin_port, librad_radius_msg_get_id(request.get()), {}};
    std::copy_n(librad_radius_msg_get_authenticator(request.get()), key.authenticator.size(),
                key.authenticator.begin());
    // Looked up before the secret: the session that would name it may be gone by now.
    if (const std::vector<std::uint8_t>* answer = memory_.find(key, monotonicSeconds())) {
        count(&librad_radius_das_counters::duplicates);
        reply(*answer, from);
        return;
    }
    handleNew(*request, key, from);
}

void DasServer::handleNew(const librad_radius_msg& request, const AnswerMemory::Key& key,
                          const sockaddr_in& from) {
    DasSession session(request);
    unsigned int secretLength = 0;
    const unsigned char* secretData =
        config_.getSharedKey(context_, &secretLength, session.attrs());
    if (secretData == nullptr || secretLength == 0) {
        drop(from, "no secret for it");
        return;
    }
    const librad_secret secret(std::string_view(
        static_cast<const char*>(static_cast<const void*>(secretData)), secretLength));
    if (!verifyRequest(request, bytesOf(secret))) {
        drop(from, "wrong authenticator");
        return;
    }
    if (!isTimely(request)) {
        drop(from, "Event-Timestamp out of the time window");
        return;
    }
    const std::optional<ErrorCause> cause = decide(request, session);
    const MessagePtr answer = makeDasAnswer(request, cause, bytesOf(secret));
    if (answer == nullptr) {
        drop(from, "its answer does not fit");
        return;
    }
    count(cause ? &librad_radius_das_counters::naks : &librad_radius_das_counters::acks);
    memory_.add(key, answer->bytes, monotonicSeconds());
    reply(answer->bytes, from);
}

bool DasServer::isTimely(const librad_radius_msg& request) const {
    const std::optional<std::uint32_t> stamp =
        integerOf(request, LIBRAD_RADIUS_ATTR_EVENT_TIMESTAMP);
    if (!stamp) {
        return !requireEventTimestamp_;
    }
    const std::int64_t now = wallSeconds();
    // Before that day the clock has not been set yet, and knows nothing.
    return now < kBuildDay || std::abs(now - static_cast<std::int64_t>(*stamp)) <= timeWindow_;
}

bool DasServer::isForThisNas(const librad_radius_msg& request) {
    MutexLock lock(mutex_);
    const std::string address = textOf(request, LIBRAD_RADIUS_ATTR_NAS_IP_ADDRESS);
    const std::string identifier = textOf(request, LIBRAD_RADIUS_ATTR_NAS_IDENTIFIER);
    return !findAttribute(request, LIBRAD_RADIUS_ATTR_NAS_IPV6_ADDRESS) &&
           (address.empty() || nasIpAddress_.empty() || address == nasIpAddress_) &&
           (identifier.empty() || nasIdentifier_.empty() || identifier == nasIdentifier_);
}

std::optional<ErrorCause> DasServer::decide(const librad_radius_msg& request, DasSession& session) {
    if (!isForThisNas(request)) {
        return ErrorCause::nasIdentificationMismatch;
    }
    if (librad_radius_msg_get_code(&request) == LIBRAD_RADIUS_CODE_COA_REQUEST) {
        return ErrorCause::unsupportedExtension;
    }
    if (!session.isNamed()) {
        return ErrorCause::missingAttribute;
    }
    if (!session.isValid()) {
        return ErrorCause::invalidAttributeValue;
    }
    if (config_.disconnect(context_, session.attrs()) != 0) {
        return ErrorCause::sessionContextNotFound;
    }
    return std::nullopt;
}

void DasServer::reply(const std::vector<std::uint8_t>& answer, const sockaddr_in& to) const {
    // Lost is lost: who asked asks again.
    [[maybe_unused]] const ssize_t sent =
        sendto(socket_.get(), answer.data(), answer.size(), MSG_DONTWAIT,
               reinterpret_cast<const sockaddr*>(&to), sizeof to);
}

void DasServer::drop(const sockaddr_in& from, const char* why) {
    MutexLock lock(mutex_);
    ++counters_.dropped;
    // Once a second, so that a flood does not fill the log.
    if (reportedAt_ != monotonicSeconds()) {
        reportedAt_ = monotonicSeconds();
        report(LogLevel::warning, "RADIUS: disconnect request from %s:%u dropped: %s",
               ipv4Text(from.sin_addr).c_str(), ntohs(from.sin_port), why);
    }
}

void DasServer::count(std::uint64_t librad_radius_das_counters::*counter) {
    MutexLock lock(mutex_);
    ++(counters_.*counter);
}

}  // namespace ostrel::radius

using namespace ostrel::radius;

librad_radius_das* librad_radius_das_init2(std::uint16_t port, int timeWindowSeconds,
                                           int requireEventTimestamp, void* context,
                                           librad_radius_das_config config,
                                           const char* bindAddress) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    const std::optional<in_addr> bound =
        bindAddress != nullptr ? ostrel::parseIpv4(bindAddress) : in_addr{};
    if (!bound || config.disconnect == nullptr || config.getSharedKey == nullptr) {
        report(ostrel::LogLevel::error, "RADIUS: no address or no owner for disconnect requests");
        errno = EINVAL;
        return nullptr;
    }
    address.sin_addr = *bound;
    auto das = std::make_shared<DasServer>(address, timeWindowSeconds, requireEventTimestamp != 0,
                                           context, config);
    return das->start() ? new librad_radius_das{std::move(das)} : nullptr;
}

void librad_radius_das_set_nas(librad_radius_das* das, const unsigned char* ipAddress,
                               std::string_view identifier) {
    das->impl->setNas(ipAddress, identifier);
}

std::uint16_t librad_radius_das_get_port(const librad_radius_das* das) {
    return das->impl->port();
}

librad_radius_das_counters librad_radius_das_get_counters(librad_radius_das* das) {
    return das->impl->counters();
}

void librad_radius_das_deinit(librad_radius_das* das) {
    if (das != nullptr) {
        das->impl->end();
        EventLoop::instance().detach(das->impl.get());
        delete das;
    }
}
