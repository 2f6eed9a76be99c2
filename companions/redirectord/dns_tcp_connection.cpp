#include "redirectord/dns_tcp_connection.h"

#include <algorithm>
#include <cerrno>
#include <random>
#include <utility>

#include "redirectord/dns_message.h"

namespace redirectord {
namespace {

constexpr std::size_t kLengthSize = 2;
constexpr std::size_t kLongestMessage = 65535;

std::string framed(std::string message) {
    const auto size = static_cast<std::uint16_t>(message.size());
    const char length[] = {static_cast<char>(size >> 8U), static_cast<char>(size & 0xffU)};
    return message.insert(0, length, sizeof length);
}

// The size of a message whose beginning is in `bytes`, its length included. The length is a word
// like the id of a message.
std::size_t wholeSize(const std::string& bytes) {
    return bytes.size() < kLengthSize ? kLengthSize : kLengthSize + dnsIdOf(bytes);
}

}  // namespace

DnsTcpConnection::DnsTcpConnection(companion::EventLoop& loop, DnsServers& servers,
                                   DnsAnswers& answers, ostrel::Fd station, const IpAddress& client,
                                   std::function<void()> ended)
    : loop_(loop),
      servers_(servers),
      answers_(answers),
      station_(std::move(station)),
      client_(client),
      ended_(std::move(ended)) {
    loop_.whenReadable(station_.get(), [this] { readQuery(); });
}

DnsTcpConnection::~DnsTcpConnection() {
    loop_.forget(station_.get());
    loop_.forget(server_.get());
}

void DnsTcpConnection::end() {
    const std::function<void()> ended = ended_;
    ended();
}

void DnsTcpConnection::readQuery() {
    const Io io = read(station_.get(), kLongestDnsQuery);
    if (io == Io::unfinished) {
        return;
    }
    if (io == Io::broken) {
        end();
        return;
    }
    query_ = std::exchange(buffer_, {}).substr(kLengthSize);
    since_ = Clock::now();
    loop_.whenReadable(station_.get(), nullptr);
    switch (judgeQuery(query_)) {
        case QueryVerdict::drop:
            end();
            return;
        case QueryVerdict::formatError:
            answer(dnsErrorAnswer(query_, DnsError::format));
            return;
        case QueryVerdict::notImplemented:
            answer(dnsErrorAnswer(query_, DnsError::notImplemented));
            return;
        case QueryVerdict::refused:
            answer(dnsErrorAnswer(query_, DnsError::refused));
            return;
        case QueryVerdict::forward:
            ask();
            return;
    }
}

void DnsTcpConnection::ask() {
    const SocketAddress* const server = servers_.current(Clock::now());
    if (server == nullptr) {
        answer(dnsErrorAnswer(query_, DnsError::server));
        return;
    }
    serverAddress_ = *server;
    server_.reset(socket(server->storage.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (connect(server_.get(), server->get(), server->size) != 0 && errno != EINPROGRESS) {
        servers_.turnFrom(serverAddress_);
        answer(dnsErrorAnswer(query_, DnsError::server));
        return;
    }
    id_ = static_cast<std::uint16_t>(std::random_device()() & 0xffffU);
    std::string sent = query_;
    setDnsId(sent, id_);
    buffer_ = framed(std::move(sent));
    written_ = 0;
    loop_.whenWritable(server_.get(), [this] { sendQuery(); });
}

void DnsTcpConnection::sendQuery() {
    const Io io = write(server_.get());
    if (io == Io::unfinished) {
        return;
    }
    if (io == Io::broken) {
        servers_.turnFrom(serverAddress_);
        answer(dnsErrorAnswer(query_, DnsError::server));
        return;
    }
    buffer_.clear();
    loop_.whenWritable(server_.get(), nullptr);
    loop_.whenReadable(server_.get(), [this] { readAnswer(); });
}

void DnsTcpConnection::readAnswer() {
    const Io io = read(server_.get(), kLongestMessage);
    if (io == Io::unfinished) {
        return;
    }
    std::string message = io == Io::done ? std::exchange(buffer_, {}).substr(kLengthSize) : "";
    if (dnsIdOf(message) != id_ || !answersQuestion(message, dnsQuestionOf(query_))) {
        answer(dnsErrorAnswer(query_, DnsError::server));
        return;
    }
    setDnsId(message, dnsIdOf(query_));
    if (answers_.take(message)) {
        answers_.settle();
    }
    answer(std::move(message));
}

void DnsTcpConnection::answer(std::string message) {
    loop_.forget(server_.get());
    server_.reset();
    since_ = Clock::now();
    buffer_ = framed(std::move(message));
    written_ = 0;
    loop_.whenWritable(station_.get(), [this] { sendAnswer(); });
}

void DnsTcpConnection::sendAnswer() {
    const Io io = write(station_.get());
    if (io == Io::unfinished) {
        return;
    }
    if (io == Io::broken) {
        end();
        return;
    }
    buffer_ = {};
    since_ = Clock::now();
    loop_.whenWritable(station_.get(), nullptr);
    loop_.whenReadable(station_.get(), [this] { readQuery(); });
}

DnsTcpConnection::Io DnsTcpConnection::read(int fd, std::size_t longest) {
    for (;;) {
        const std::size_t have = buffer_.size();
        const std::size_t whole = wholeSize(buffer_);
        if (whole > kLengthSize + longest) {
            return Io::broken;
        }
        if (have == whole && have > kLengthSize) {
            return Io::done;
        }
        // An empty message is no message.
        if (have == whole) {
            return Io::broken;
        }
        buffer_.resize(whole);
        const ssize_t size = recv(fd, buffer_.data() + have, whole - have, 0);
        buffer_.resize(have + static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
        if (size <= 0) {
            return size < 0 && (errno == EAGAIN || errno == EINTR) ? Io::unfinished : Io::broken;
        }
    }
}

DnsTcpConnection::Io DnsTcpConnection::write(int fd) {
    while (written_ < buffer_.size()) {
        const ssize_t size =
            send(fd, buffer_.data() + written_, buffer_.size() - written_, MSG_NOSIGNAL);
        if (size < 0) {
            return errno == EAGAIN || errno == EINTR ? Io::unfinished : Io::broken;
        }
        written_ += static_cast<std::size_t>(size);
    }
    return Io::done;
}

}  // namespace redirectord
