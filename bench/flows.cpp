#include "flows.h"

#include <vector>

namespace vesta::bench {
namespace {

constexpr std::uint16_t kPort = 7777;

}  // namespace

Flow::Flow(const testing::AccessPointNetwork& net, int station, Protocol protocol,
           Direction direction) {
    if (protocol == Protocol::tcp) {
        connectTcp(net, station);
    } else {
        connectDatagrams(net, station);
    }
    if (direction == Direction::toStation) {
        std::swap(from_, to_);
    }
    sender_ = std::thread([this, protocol] { send(protocol); });
}

Flow::~Flow() {
    ending_ = true;
    sender_.join();
}

void Flow::connectTcp(const testing::AccessPointNetwork& net, int station) {
    const ostrel::Fd server =
        testing::serverSocket(net.internet, SOCK_STREAM, testing::kInternet, kPort);
    testing::Connection made =
        testing::connectFrom(net.station(station).space, testing::kInternet, kPort);
    if (made.error != 0) {
        throw std::runtime_error(std::string("a station does not reach the internet: ") +
                                 std::strerror(made.error));
    }
    from_ = std::move(made.fd);
    to_.reset(accept4(server.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
}

// The station speaks first, so that the internet knows where to send.
void Flow::connectDatagrams(const testing::AccessPointNetwork& net, int station) {
    to_ = testing::serverSocket(net.internet, SOCK_DGRAM, testing::kInternet, kPort);
    from_ = net.station(station).space.inside(
        [] { return ostrel::Fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)); });
    const testing::Endpoint there(testing::kInternet, kPort);
    sockaddr_storage sender{};
    socklen_t size = sizeof sender;
    char byte = 0;
    if (connect(from_.get(), there.get(), there.size) != 0 ||
        ::send(from_.get(), &byte, 1, 0) != 1 ||
        !testing::readableWithin(to_.get(), std::chrono::seconds(1)) ||
        recvfrom(to_.get(), &byte, 1, 0, reinterpret_cast<sockaddr*>(&sender), &size) != 1 ||
        connect(to_.get(), reinterpret_cast<const sockaddr*>(&sender), size) != 0) {
        throw std::runtime_error("no datagrams between a station and the internet");
    }
}

void Flow::send(Protocol protocol) const {
    const std::vector<char> block(protocol == Protocol::tcp ? 65536 : 1400);
    while (!ending_) {
        pollfd writable{from_.get(), POLLOUT, 0};
        poll(&writable, 1, 10);
        (void)!::send(from_.get(), block.data(), block.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (protocol == Protocol::udp) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
}

void Flow::receive(Seconds time) {
    std::vector<char> block(65536);
    for (const auto end = Clock::now() + time; Clock::now() < end;) {
        if (!testing::readableWithin(to_.get(), std::chrono::milliseconds(5))) {
            continue;
        }
        const ssize_t size = recv(to_.get(), block.data(), block.size(), MSG_DONTWAIT);
        if (size > 0) {
            total_ += static_cast<double>(size);
            lastArrival_ = Clock::now();
        }
    }
}

}  // namespace vesta::bench
