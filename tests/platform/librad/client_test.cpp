#include <set>

#include "support.h"

namespace ostrel::testing {
namespace {

constexpr std::int64_t kSecond = 1000000;
const std::string kSecret = "testing123";

struct Told {
    std::uint8_t code;
    ByteString requestAuthenticator;
    librad_radius_rx_result result;
};

class RadiusClient : public ::testing::Test {
protected:
    ~RadiusClient() override { librad_radius_client_deinit(client_); }

    void makeClient(librad_require_message_authenticator setting = LIBRAD_REQUIRE_ONCE_SEEN) {
        librad_radius_client_config config;
        config.authServers.push_back({"127.0.0.1", server_.port(), librad_secret(kSecret)});
        config.requireMessageAuthenticator = setting;
        client_ = librad_radius_client_init(&config);
        ASSERT_NE(client_, nullptr);
        librad_radius_client_set_handler(client_, &RadiusClient::onAnswer, &RadiusClient::onGiveUp,
                                         this);
    }

    // Sends an Access-Request, with an EAP identity or without, and returns its authenticator.
    ByteString send(bool eap = false, std::optional<std::uint8_t> id = std::nullopt) {
        Message msg(librad_radius_msg_new(LIBRAD_RADIUS_CODE_ACCESS_REQUEST,
                                          id.value_or(librad_radius_client_get_id(client_))));
        EXPECT_TRUE(librad_radius_msg_make_authenticator(msg.get(), nullptr, 0));
        EXPECT_TRUE(librad_radius_msg_add_attr(msg.get(), 1, "bob", 3));
        if (eap) {
            const ByteString identity = fromHex("02000008 01626f62");
            EXPECT_TRUE(librad_radius_msg_add_eap(msg.get(), identity.data(), identity.size()));
        }
        const unsigned char* at = librad_radius_msg_get_authenticator(msg.get());
        ByteString authenticator(at, at + 16);
        if (librad_radius_client_send(client_, msg.get(), LIBRAD_RADIUS_AUTH, nullptr) != 0) {
            return {};
        }
        static_cast<void>(msg.release());
        return authenticator;
    }

    void advance(std::int64_t microseconds) {
        clock_.monotonic += microseconds;
        librad_eloop_step();
    }

    std::size_t outstanding() const {
        return librad_radius_client_outstanding(client_, LIBRAD_RADIUS_AUTH);
    }
    librad_radius_counters counters() const { return librad_radius_client_get_counters(client_); }

    static librad_radius_rx_result onAnswer(librad_radius_msg* msg, librad_radius_msg* request,
                                            unsigned char* secret, unsigned int length,
                                            void* context) {
        auto* self = static_cast<RadiusClient*>(context);
        const unsigned char* at = librad_radius_msg_get_authenticator(request);
        librad_radius_rx_result result = LIBRAD_RADIUS_RX_ACCEPT;
        if (!self->gullible_ && librad_radius_msg_verify_acct(msg, secret, length, request) != 0) {
            result = LIBRAD_RADIUS_RX_INVALID;
        }
        self->told_.push_back({librad_radius_msg_get_code(msg), {at, at + 16}, result});
        if (self->inHandler_) {
            std::exchange(self->inHandler_, nullptr)();
            librad_radius_msg_free(msg);
            return LIBRAD_RADIUS_RX_QUEUED;
        }
        return result;
    }

    static void onGiveUp(librad_radius_msg* request, void* context) {
        const unsigned char* at = librad_radius_msg_get_authenticator(request);
        auto* self = static_cast<RadiusClient*>(context);
        self->givenUp_.push_back({at, at + 16});
        if (self->inGiveUp_) {
            std::exchange(self->inGiveUp_, nullptr)();
        }
    }

    ManualClock clock_;
    Peer server_;
    librad_radius_client* client_ = nullptr;
    bool gullible_ = false;
    std::function<void()> inHandler_;
    std::function<void()> inGiveUp_;
    std::vector<Told> told_;
    std::vector<ByteString> givenUp_;
};

TEST_F(RadiusClient, RepeatsASilentServersRequestByteByByteThenGivesItUp) {
    makeClient();
    const std::int64_t began = clock_.monotonic;
    const ByteString request = send();
    std::vector<std::int64_t> times;
    std::vector<ByteString> packets;
    while (givenUp_.empty() && clock_.monotonic < began + 40 * kSecond) {
        while (auto packet = server_.receive()) {
            times.push_back(clock_.monotonic - began);
            packets.push_back(packet->bytes);
        }
        advance(kSecond / 100);
    }
    ASSERT_EQ(givenUp_, std::vector<ByteString>{request});
    EXPECT_EQ(clock_.monotonic - began, 30 * kSecond);
    ASSERT_GE(packets.size(), 4U);
    ASSERT_LE(packets.size(), 5U);
    std::int64_t nominal = 2 * kSecond;
    for (std::size_t i = 1; i < packets.size(); ++i, nominal *= 2) {
        EXPECT_EQ(packets[i], packets[0]);
        EXPECT_GE(times[i] - times[i - 1], nominal * 9 / 10 - kSecond / 50);
        EXPECT_LE(times[i] - times[i - 1], nominal * 11 / 10 + kSecond / 50);
    }
    EXPECT_EQ(outstanding(), 0U);
    EXPECT_TRUE(told_.empty());
}

TEST_F(RadiusClient, SignsAccessRequestsWithAMessageAuthenticatorInFront) {
    makeClient();
    send();
    const auto packet = server_.receive();
    ASSERT_TRUE(packet);
    EXPECT_EQ(messageAuthenticatorAt(packet->bytes), 22U);
    EXPECT_EQ(ByteString(packet->bytes.begin() + 22, packet->bytes.begin() + 38),
              hmacOf(packet->bytes, kSecret, packet->authenticator()));
}

TEST_F(RadiusClient, TakesNoNoticeOfLateAndDoubledAnswers) {
    makeClient();
    const ByteString request = send();
    const auto first = server_.receive();
    const ByteString answer = makeAnswer(*first, 2, kSecret);
    server_.deliver(answer, first->from);
    server_.deliver(answer, first->from);
    ASSERT_EQ(told_.size(), 1U);
    EXPECT_EQ(told_[0].requestAuthenticator, request);
    EXPECT_EQ(counters().unexpected, 1U);

    send();
    const auto second = server_.receive();
    for (int i = 0; i < 40; ++i) {
        advance(kSecond);
    }
    ASSERT_EQ(givenUp_.size(), 1U);
    server_.deliver(makeAnswer(*second, 2, kSecret), second->from);
    EXPECT_EQ(told_.size(), 1U);
    EXPECT_EQ(givenUp_.size(), 1U);
}

TEST_F(RadiusClient, KeepsARequestOutstandingWhoseAnswerIsForged) {
    makeClient();
    for (const bool gullible : {false, true}) {
        SCOPED_TRACE(gullible);
        gullible_ = gullible;
        told_.clear();
        send();
        const auto packet = server_.receive();
        clock_.monotonic += kSecond;
        server_.deliver(makeAnswer(*packet, 2, "another secret"), packet->from);
        EXPECT_EQ(told_.size(), 1U);  // the handler says so in its own words
        EXPECT_EQ(outstanding(), 1U);
        // The timer is where it was: the repetition comes 2 s after the first sending, not the
        // answer.
        advance(kSecond * 13 / 10);
        ASSERT_TRUE(server_.receive());
        server_.deliver(makeAnswer(*packet, 2, kSecret), packet->from);
        EXPECT_EQ(told_.size(), 2U);
        EXPECT_EQ(outstanding(), 0U);
    }
    EXPECT_EQ(counters().badAuthenticator, 2U);
}

TEST_F(RadiusClient, HearsOnlyTheServersAddressAndPortAndOnlyAnswers) {
    makeClient();
    send();
    const auto packet = server_.receive();
    const Peer stranger;
    stranger.deliver(makeAnswer(*packet, 2, kSecret), packet->from);
    EXPECT_EQ(counters().wrongSource, 1U);
    server_.deliver(fromHex("0201"), packet->from);
    EXPECT_EQ(counters().malformed, 1U);
    server_.deliver(makeAnswer(*packet, 5, kSecret), packet->from);  // Accounting-Response
    EXPECT_EQ(counters().unexpected, 1U);
    EXPECT_TRUE(told_.empty());
    EXPECT_EQ(outstanding(), 1U);
}

TEST_F(RadiusClient, TellsThreeHundredRequestsApartOnTwoPorts) {
    makeClient();
    std::vector<Packet> packets;
    std::set<std::pair<std::uint16_t, std::uint8_t>> inFlight;
    std::set<std::uint16_t> ports;
    for (int i = 0; i < 300; ++i) {
        send(false, 7);  // an identifier in flight already is replaced
        auto packet = server_.receive();
        ASSERT_TRUE(packet);
        EXPECT_EQ(ByteString(packet->bytes.begin() + 22, packet->bytes.begin() + 38),
                  hmacOf(packet->bytes, kSecret, packet->authenticator()));
        EXPECT_TRUE(inFlight.emplace(packet->from.sin_port, packet->id()).second);
        ports.insert(packet->from.sin_port);
        packets.push_back(std::move(*packet));
    }
    EXPECT_EQ(ports.size(), 2U);
    std::vector<ByteString> expected;
    for (auto packet = packets.rbegin(); packet != packets.rend(); ++packet) {
        server_.deliver(makeAnswer(*packet, 2, kSecret), packet->from);
        expected.push_back(packet->authenticator());
    }
    ASSERT_EQ(told_.size(), 300U);
    for (std::size_t i = 0; i < 300; ++i) {
        EXPECT_EQ(told_[i].requestAuthenticator, expected[i]);
    }
}

TEST_F(RadiusClient, HandsOutIdentifiersThatAreNotInFlight) {
    makeClient();
    for (int i = 0; i < 255; ++i) {
        send();
    }
    std::set<std::uint8_t> inFlight;
    while (const auto packet = server_.receive()) {
        inFlight.insert(packet->id());
    }
    ASSERT_EQ(inFlight.size(), 255U);
    EXPECT_EQ(inFlight.count(librad_radius_client_get_id(client_)), 0U);
    EXPECT_EQ(inFlight.count(librad_radius_client_get_id(client_)), 0U);
}

TEST_F(RadiusClient, LetsRequestsWaitInOrderWhenSixteenPortsAreFull) {
    makeClient();
    send();
    const auto first = server_.receive();
    for (int i = 1; i < 16 * 256; ++i) {
        ASSERT_FALSE(send().empty());
        static_cast<void>(server_.receive());
    }
    const ByteString next = send();
    for (int i = 1; i < 4096; ++i) {
        ASSERT_FALSE(send().empty());
    }
    EXPECT_FALSE(server_.receive());
    EXPECT_TRUE(send().empty());  // refused, the message stays the caller's
    EXPECT_EQ(librad_radius_client_waiting(client_, LIBRAD_RADIUS_AUTH), 4096U);
    server_.deliver(makeAnswer(*first, 2, kSecret), first->from);
    const auto packet = server_.receive();
    ASSERT_TRUE(packet);
    EXPECT_EQ(packet->authenticator(), next);
    EXPECT_FALSE(server_.receive());
}

TEST_F(RadiusClient, LetsAHandlerSendTheNextRequestOrEndTheClient) {
    makeClient();
    send();
    auto packet = server_.receive();
    ByteString next;
    inHandler_ = [&] { next = send(); };
    server_.deliver(makeAnswer(*packet, 11, kSecret), packet->from);
    packet = server_.receive();
    ASSERT_TRUE(packet);
    EXPECT_EQ(packet->authenticator(), next);
    EXPECT_EQ(outstanding(), 1U);

    inHandler_ = [&] { librad_radius_client_deinit(std::exchange(client_, nullptr)); };
    server_.send(makeAnswer(*packet, 2, kSecret), packet->from);
    server_.deliver(makeAnswer(*packet, 2, kSecret), packet->from);
    EXPECT_EQ(told_.size(), 2U);
}

TEST_F(RadiusClient, LetsAGiveUpEndTheClient) {
    makeClient();
    send();
    send();
    inGiveUp_ = [&] { librad_radius_client_deinit(std::exchange(client_, nullptr)); };
    for (int i = 0; i < 31; ++i) {
        advance(kSecond);
    }
    EXPECT_EQ(givenUp_.size(), 1U);
}

TEST_F(RadiusClient, SendsNothingToAServerThatCanNotBeAsked) {
    const librad_radius_server good{"127.0.0.1", server_.port(), librad_secret(kSecret)};
    std::vector<librad_radius_server> servers(4, good);
    servers[0].address = "";
    servers[1].address = "radius.example";
    servers[2].port = 0;
    servers[3].sharedSecret = librad_secret();
    for (const librad_radius_server& server : servers) {
        librad_radius_client_config config;
        config.authServers.push_back(server);
        client_ = librad_radius_client_init(&config);
        ASSERT_NE(client_, nullptr);
        EXPECT_TRUE(send().empty());
        librad_radius_client_deinit(std::exchange(client_, nullptr));
    }
    EXPECT_FALSE(server_.receive());
}

struct AnswerStep {
    std::uint8_t code;
    bool eap;
    Mac mac;
    bool counts;
};

struct Rule {
    const char* what;
    librad_require_message_authenticator setting;
    std::vector<AnswerStep> steps;
};

class AnswerRules : public RadiusClient, public ::testing::WithParamInterface<Rule> {};

TEST_P(AnswerRules, DecideWhetherAnAnswerCounts) {
    makeClient(GetParam().setting);
    for (const AnswerStep& step : GetParam().steps) {
        told_.clear();
        send(step.eap);
        const auto packet = server_.receive();
        ASSERT_TRUE(packet);
        // A Reply-Message first: the Message-Authenticator counts wherever it stands.
        server_.deliver(makeAnswer(*packet, step.code, kSecret, step.mac, "12036f"), packet->from);
        EXPECT_EQ(told_.size(), step.counts ? 1U : 0U) << GetParam().what;
        EXPECT_EQ(outstanding(), step.counts ? 0U : 1U) << GetParam().what;
        server_.deliver(makeAnswer(*packet, 3, kSecret, Mac::valid), packet->from);
    }
}

INSTANTIATE_TEST_SUITE_P(
    OfMessageAuthenticator, AnswerRules,
    ::testing::Values(Rule{"never seen, not needed",
                           LIBRAD_REQUIRE_ONCE_SEEN,
                           {{2, false, Mac::none, true},
                            {3, false, Mac::none, true},
                            {2, false, Mac::none, true}}},
                      Rule{"wrong is wrong",
                           LIBRAD_REQUIRE_ONCE_SEEN,
                           {{2, false, Mac::wrong, false}, {3, false, Mac::wrong, false}}},
                      Rule{"once seen then needed, in accepts alone",
                           LIBRAD_REQUIRE_ONCE_SEEN,
                           {{2, false, Mac::valid, true},
                            {2, false, Mac::none, false},
                            {3, false, Mac::none, true}}},
                      Rule{"a reject with one binds nobody",
                           LIBRAD_REQUIRE_ONCE_SEEN,
                           {{3, false, Mac::valid, true}, {2, false, Mac::none, true}}},
                      Rule{"with EAP always needed",
                           LIBRAD_REQUIRE_ONCE_SEEN,
                           {{2, true, Mac::none, false},
                            {3, true, Mac::none, false},
                            {11, true, Mac::valid, true}}},
                      Rule{"needed from the start",
                           LIBRAD_REQUIRE_ALWAYS,
                           {{2, false, Mac::none, false},
                            {3, false, Mac::none, false},
                            {2, false, Mac::valid, true}}},
                      Rule{"never needed, yet checked",
                           LIBRAD_REQUIRE_NEVER,
                           {{2, false, Mac::valid, true},
                            {2, false, Mac::none, true},
                            {2, false, Mac::wrong, false},
                            {2, true, Mac::none, false}}}));

}  // namespace
}  // namespace ostrel::testing
