// The forwarder between a station and a name server, both played by the test over loopback.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/eventfd.h>

#include <atomic>
#include <set>
#include <thread>

#include "access_point.h"
#include "common/event_loop.h"
#include "dns_bytes.h"
#include "redirectord/dns_message.h"
#include "redirectord/dns_tcp.h"
#include "redirectord/dns_udp.h"

namespace vesta::testing {
namespace {

using namespace redirectord;
using std::chrono::milliseconds;

constexpr std::uint16_t kPort = 8053;
constexpr milliseconds kLong{5000};
constexpr milliseconds kNothingComes{50};

ostrel::Fd udp(const char* address, std::uint16_t port, bool isServer) {
    const Endpoint endpoint(address, port);
    ostrel::Fd fd(socket(endpoint.storage.ss_family, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    EXPECT_EQ(isServer ? bind(fd.get(), endpoint.get(), endpoint.size)
                       : connect(fd.get(), endpoint.get(), endpoint.size),
              0);
    return fd;
}

struct Datagram {
    std::string bytes;  // "" when none came in time
    Endpoint from{"::", 0};
};

Datagram receive(const ostrel::Fd& fd, milliseconds bound = kLong) {
    Datagram got;
    std::array<char, 9000> buffer{};
    if (readableWithin(fd.get(), bound)) {
        got.from.size = sizeof got.from.storage;
        const ssize_t size =
            recvfrom(fd.get(), buffer.data(), buffer.size(), 0,
                     reinterpret_cast<sockaddr*>(&got.from.storage), &got.from.size);
        got.bytes.assign(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    }
    return got;
}

void sendTo(const ostrel::Fd& fd, const Endpoint& to, const std::string& bytes) {
    EXPECT_EQ(sendto(fd.get(), bytes.data(), bytes.size(), 0, to.get(), to.size),
              static_cast<ssize_t>(bytes.size()));
}

void put(const ostrel::Fd& fd, const std::string& bytes) {
    EXPECT_EQ(send(fd.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
}

// Says whether the station had its answer before the sets were settled.
class WatchedAnswers : public DnsAnswers {
public:
    bool take(std::string_view) override { return true; }
    void settle() override {
        ++settled;
        isEarly = isEarly || readableWithin(station, milliseconds(0));
    }
    int station = -1;
    std::atomic<int> settled = 0;
    std::atomic<bool> isEarly = false;
};

class ForwarderTest : public NetworkTest {
protected:
    void SetUp() override {
        NetworkTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        ASSERT_EQ(std::system("ip link set lo up"), 0);
        for (const char* const address : {"127.0.0.2", "127.0.0.3"}) {
            servers_.push_back(udp(address, 53, true));
        }
        udp_ = std::make_unique<DnsUdp>(loop_, dns_, answers_, kPort);
        tcp_ = std::make_unique<DnsTcp>(loop_, dns_, answers_, kPort);
        station_ = udp("127.0.0.1", kPort, false);
        answers_.station = station_.get();
        loop_.whenReadable(end_.get(), [this] { loop_.stop(); });
        thread_ = std::thread([this] { loop_.run(); });
    }
    void TearDown() override {
        if (thread_.joinable()) {
            eventfd_write(end_.get(), 1);
            thread_.join();
        }
    }
    [[nodiscard]] static std::string answerTo(const std::string& query) {
        return dns::answer(dnsIdOf(query), std::string(dnsQuestionOf(query)), {});
    }

    std::vector<ostrel::Fd> servers_;
    ostrel::Fd station_;
    WatchedAnswers answers_;
    companion::EventLoop loop_;
    DnsServers dns_{{parseDnsServer("127.0.0.2"), parseDnsServer("127.0.0.3")}};
    std::unique_ptr<DnsUdp> udp_;
    std::unique_ptr<DnsTcp> tcp_;
    ostrel::Fd end_{eventfd(0, EFD_CLOEXEC)};
    std::thread thread_;
};

TEST_F(ForwarderTest, passes_messages_on_byte_by_byte_after_the_sets_are_settled) {
    const std::string options(11, '\x29');
    put(station_, dns::query(4711, "Www.example.org") + options);
    const Datagram asked = receive(servers_[0]);
    const std::uint16_t id = dnsIdOf(asked.bytes);
    EXPECT_EQ(asked.bytes, dns::query(id, "Www.example.org") + options);
    sendTo(servers_[0], asked.from, answerTo(asked.bytes) + "tail");
    EXPECT_EQ(receive(station_).bytes,
              dns::answer(4711, dns::question("Www.example.org"), {}) + "tail");
    EXPECT_EQ(answers_.settled, 1);
    EXPECT_FALSE(answers_.isEarly);
}

TEST_F(ForwarderTest, believes_only_the_server_that_was_asked) {
    put(station_, dns::query(4711, "www.example.org"));
    const Datagram asked = receive(servers_[0]);
    const std::string good = answerTo(asked.bytes);
    std::string wrongId = good;
    wrongId[1] = static_cast<char>(~wrongId[1]);
    sendTo(servers_[0], asked.from, wrongId);
    sendTo(servers_[0], asked.from,
           dns::answer(dnsIdOf(good), dns::question("www.example.net"), {}));
    sendTo(servers_[0], asked.from,
           dns::answer(dnsIdOf(good), dns::question("www.example.org", dns::kAaaa), {}));
    sendTo(servers_[0], asked.from, asked.bytes);
    sendTo(servers_[0], asked.from, "");
    sendTo(servers_[0], asked.from, good.substr(0, 17));
    const std::string forged = good + "forged";
    const ostrel::Fd forger = udp("127.0.0.2", 5353, true);
    sendto(forger.get(), forged.data(), forged.size(), 0, asked.from.get(), asked.from.size);
    sendto(servers_[1].get(), forged.data(), forged.size(), 0, asked.from.get(), asked.from.size);
    EXPECT_EQ(receive(station_, kNothingComes).bytes, "");
    sendTo(servers_[0], asked.from, good);
    sendTo(servers_[0], asked.from, good + "again");
    EXPECT_EQ(receive(station_).bytes, dns::answer(4711, dns::question("www.example.org"), {}));
    EXPECT_EQ(receive(station_, kNothingComes).bytes, "");
}

TEST_F(ForwarderTest, asks_under_ids_and_ports_that_nobody_guesses) {
    std::set<std::uint16_t> ids;
    std::set<std::string> ports;
    for (unsigned int i = 0; i < 100; ++i) {
        put(station_, dns::query(i, "www.example.org"));
        const Datagram asked = receive(servers_[0]);
        ids.insert(dnsIdOf(asked.bytes));
        ports.emplace(reinterpret_cast<const char*>(&asked.from.storage), asked.from.size);
        sendTo(servers_[0], asked.from, answerTo(asked.bytes));
        EXPECT_EQ(dnsIdOf(receive(station_).bytes), i);
    }
    EXPECT_GT(ids.size(), 95U);
    EXPECT_GT(ports.size(), 20U);
}

TEST_F(ForwarderTest, bounds_what_a_station_has_under_way) {
    for (unsigned int i = 0; i < 2 * DnsUpstream::kMostOfOneClient; ++i) {
        put(station_, dns::query(i, "www.example.org"));
    }
    std::vector<Datagram> asked;
    for (Datagram one = receive(servers_[0]); !one.bytes.empty();
         one = receive(servers_[0], kNothingComes)) {
        asked.push_back(one);
    }
    EXPECT_EQ(asked.size(), DnsUpstream::kMostOfOneClient);
    const ostrel::Fd other = udp("127.0.0.1", kPort, false);
    sendTo(servers_[0], asked.front().from, answerTo(asked.front().bytes));
    EXPECT_NE(receive(station_).bytes, "");
    put(other, dns::query(5, "www.example.org"));
    EXPECT_NE(receive(servers_[0]).bytes, "") << "after an answer there is room";
}

TEST_F(ForwarderTest, answers_nonsense_with_an_error_and_turns_from_a_dead_server) {
    std::string noQuestion = dns::query(4711, "www.example.org");
    noQuestion[5] = 0;
    put(station_, noQuestion);
    EXPECT_EQ(receive(station_).bytes, dnsErrorAnswer(noQuestion, DnsError::format));
    put(station_, answerTo(dns::query(4711, "www.example.org")));
    put(station_, "x");
    put(station_, std::string(kLongestDnsQuery + 1, 'x'));
    EXPECT_EQ(receive(station_, kNothingComes).bytes, "");

    servers_[0].reset();
    Datagram asked;
    for (unsigned int i = 0; asked.bytes.empty() && i < 100; ++i) {
        put(station_, dns::query(i, "www.example.org"));
        asked = receive(servers_[1], kNothingComes);
    }
    EXPECT_NE(asked.bytes, "");
}

TEST_F(ForwarderTest, serves_tcp_in_pieces_and_bounds_its_connections) {
    const auto connected = [](std::uint16_t port, const char* address) {
        const Endpoint endpoint(address, port);
        ostrel::Fd fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        EXPECT_EQ(connect(fd.get(), endpoint.get(), endpoint.size), 0);
        return fd;
    };
    const ostrel::Fd server(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const Endpoint here("127.0.0.2", 53);
    ASSERT_EQ(bind(server.get(), here.get(), here.size), 0);
    ASSERT_EQ(listen(server.get(), 8), 0);

    const ostrel::Fd station = connected(kPort, "127.0.0.1");
    answers_.station = station.get();
    const std::string query = dns::query(4711, "big.example.org", dns::kTxt);
    const std::string tail(60000, 't');
    for (int round = 1; round <= 2; ++round) {
        const std::string sent = dns::word(static_cast<unsigned int>(query.size())) + query;
        put(station, sent.substr(0, 1));
        put(station, sent.substr(1, 20));
        put(station, sent.substr(21));
        const ostrel::Fd asking(accept(server.get(), nullptr, nullptr));
        const std::string asked = receive(asking).bytes.substr(2);
        const std::string answer = answerTo(asked) + tail;
        put(asking, dns::word(static_cast<unsigned int>(answer.size())) + answer);
        std::string got;
        while (got.size() < 2 + answer.size()) {
            const std::string piece = receive(station).bytes;
            ASSERT_NE(piece, "");
            got += piece;
        }
        EXPECT_EQ(got.substr(2), answerTo(query) + tail);
        EXPECT_EQ(answers_.settled, round);
        EXPECT_FALSE(answers_.isEarly);
    }

    std::vector<ostrel::Fd> more;
    for (std::size_t i = 1; i < DnsTcp::kMostOfOneClient; ++i) {
        more.push_back(connected(kPort, "127.0.0.1"));
        EXPECT_FALSE(readableWithin(more.back().get(), milliseconds(5)));
    }
    const ostrel::Fd tooMany = connected(kPort, "127.0.0.1");
    EXPECT_TRUE(readableWithin(tooMany.get(), kLong)) << "one too many is closed";
    put(more.back(), dns::word(kLongestDnsQuery + 1));
    EXPECT_TRUE(readableWithin(more.back().get(), kLong)) << "too long a query is closed";
}

TEST(DnsServersTest, follow_their_file) {
    const ostrel::testing::TempDirectory directory;
    const std::string file = directory.path() + "/resolv.conf";
    DnsServers servers(file);
    DnsServers::Clock::time_point now{};
    const auto current = [&] {
        now += std::chrono::seconds(2);
        const SocketAddress* const server = servers.current(now);
        return server != nullptr ? server->text() : "none";
    };
    EXPECT_EQ(current(), "none");
    ostrel::testing::writeFile(file,
                               "# comment\nsearch example\nnameserver 192.0.2.1\n"
                               "nameserver nonsense\nnameserver 2001:db8::1\n");
    EXPECT_EQ(current(), "192.0.2.1:53");
    servers.turnFrom(parseDnsServer("192.0.2.7"));
    EXPECT_EQ(current(), "192.0.2.1:53");
    servers.turnFrom(parseDnsServer("192.0.2.1"));
    EXPECT_EQ(current(), "[2001:db8::1]:53");
    servers.turnFrom(parseDnsServer("2001:db8::1"));
    EXPECT_EQ(current(), "192.0.2.1:53");
    ostrel::testing::writeFile(file, "nameserver 192.0.2.9\n");
    EXPECT_EQ(current(), "192.0.2.9:53");

    const struct {
        const char* text;
        const char* server;  // "" when it is none
    } cases[] = {{"192.0.2.1:5353", "192.0.2.1:5353"},
                 {"[2001:db8::1]:5353", "[2001:db8::1]:5353"},
                 {"[2001:db8::1]", "[2001:db8::1]:53"},
                 {"example.org", ""},
                 {"192.0.2.1:", ""},
                 {"192.0.2.1:x", ""},
                 {"[2001:db8::1", ""},
                 {"[", ""},
                 {"[2001:db8::1]x", ""},
                 {"", ""}};
    for (const auto& one : cases) {
        std::string server;
        try {
            server = parseDnsServer(one.text).text();
        } catch (const std::invalid_argument&) {
        }
        EXPECT_EQ(server, one.server) << one.text;
    }
}

}  // namespace
}  // namespace vesta::testing
