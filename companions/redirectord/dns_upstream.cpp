#include "redirectord/dns_upstream.h"

#include <cerrno>
#include <utility>

#include "redirectord/dns_message.h"

namespace redirectord {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// Stations ask again after 1 to 5 seconds.
constexpr seconds kPatience{4};
// Long enough that opening sockets costs nothing, too short to find out a port.
constexpr seconds kPortLife{20};
// After so many datagrams of one socket the rest of the program has its turn.
constexpr int kAtOnce = 32;
constexpr unsigned int kIdBits = 16;

}  // namespace

DnsUpstream::DnsUpstream(companion::EventLoop& loop, DnsServers& servers, Answered answered)
    : loop_(loop), servers_(servers), answered_(std::move(answered)) {}

DnsUpstream::~DnsUpstream() {
    loop_.cancel(timer_);
    for (const Port& port : ports_) {
        loop_.forget(port.socket.get());
    }
}

bool DnsUpstream::ask(std::string_view query, const DnsClient& client) {
    const Clock::time_point now = Clock::now();
    const SocketAddress* const server = servers_.current(now);
    const auto sameClient = ofClient_.find(client.address.ip());
    if (server == nullptr || queries_.size() >= kMostQueries ||
        (sameClient != ofClient_.end() && sameClient->second >= kMostOfOneClient)) {
        return false;
    }
    std::uint32_t key = 0;
    do {
        key = random_() % (std::uint32_t{kPorts} << kIdBits);
    } while (byKey_.count(key) != 0);
    Port& port = ports_[key >> kIdBits];
    if (!prepare(key >> kIdBits, *server)) {
        return false;
    }
    std::string sent(query);
    setDnsId(sent, static_cast<std::uint16_t>(key));
    if (send(port.socket.get(), sent.data(), sent.size(), 0) < 0) {
        servers_.turnFrom(port.server);
        return false;
    }
    queries_.push_back({key, client, std::string(dnsQuestionOf(query)), now});
    byKey_[key] = std::prev(queries_.end());
    ++ofClient_[client.address.ip()];
    ++port.underWay;
    if (timer_ == 0) {
        timer_ = loop_.after(kPatience, [this] { giveUpOld(); });
    }
    return true;
}

bool DnsUpstream::prepare(std::size_t number, const SocketAddress& server) {
    Port& port = ports_[number];
    const Clock::time_point now = Clock::now();
    const bool isOld = port.underWay == 0 && now - port.opened > kPortLife;
    if (port.socket.valid() && !isOld && port.server == server) {
        return true;
    }
    loop_.forget(port.socket.get());
    // The kernel gives a random port when it connects.
    port.socket.reset(
        socket(server.storage.ss_family, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    port.server = server;
    port.opened = now;
    if (!port.socket.valid() || connect(port.socket.get(), server.get(), server.size) != 0) {
        port.socket.reset();
        servers_.turnFrom(server);
        return false;
    }
    loop_.whenReadable(port.socket.get(), [this, number] { receive(number); });
    return true;
}

void DnsUpstream::receive(std::size_t number) {
    std::array<char, kLongestAnswer> buffer{};
    for (int i = 0; i < kAtOnce; ++i) {
        const ssize_t size =
            recv(ports_[number].socket.get(), buffer.data(), buffer.size(), MSG_TRUNC);
        if (size < 0) {
            // ICMP brought an error for what was sent before.
            if (errno != EAGAIN && errno != EINTR) {
                servers_.turnFrom(ports_[number].server);
            }
            return;
        }
        if (static_cast<std::size_t>(size) <= buffer.size()) {
            accept(number, {buffer.data(), static_cast<std::size_t>(size)});
        }
    }
}

// A message that nobody waits for ends nothing, since it may be forged.
void DnsUpstream::accept(std::size_t number, std::string_view message) {
    const std::uint32_t key = static_cast<std::uint32_t>(number << kIdBits) | dnsIdOf(message);
    const auto found = byKey_.find(key);
    if (found == byKey_.end() || !answersQuestion(message, found->second->question)) {
        return;
    }
    const DnsClient client = found->second->client;
    end(found->second);
    lastSign_ = Clock::now();
    std::string answer(message);
    setDnsId(answer, client.id);
    answered_(client, std::move(answer));
}

void DnsUpstream::end(Queries::iterator query) {
    const auto client = ofClient_.find(query->client.address.ip());
    if (--client->second == 0) {
        ofClient_.erase(client);
    }
    --ports_[query->key >> kIdBits].underWay;
    byKey_.erase(query->key);
    queries_.erase(query);
}

void DnsUpstream::giveUpOld() {
    const Clock::time_point now = Clock::now();
    timer_ = 0;
    while (!queries_.empty() && queries_.front().asked + kPatience <= now) {
        const SocketAddress* const server = servers_.current(now);
        if (queries_.front().asked > lastSign_ && server != nullptr) {
            servers_.turnFrom(*server);
            lastSign_ = now;
        }
        end(queries_.begin());
    }
    if (!queries_.empty()) {
        const auto left = queries_.front().asked + kPatience - now;
        timer_ = loop_.after(std::chrono::ceil<milliseconds>(left), [this] { giveUpOld(); });
    }
}

}  // namespace redirectord
