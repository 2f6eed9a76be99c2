#include "support.h"

namespace ostrel::testing {
namespace {

class RadiusClient : public ::testing::Test {
protected:
    ~RadiusClient() override { librad_radius_client_deinit(client_); }

    void makeClient(librad_require_message_authenticator setting = LIBRAD_REQUIRE_ONCE_SEEN) {
        librad_radius_client_config config;
        config.authServers.push_back({"127.0.0.1", server_.port(), librad_secret(kSecret)});
        config.requireMessageAuthenticator = setting;
        client_ = librad_radius_client_init(&config);
        ASSERT_NE(client_, nullptr);
        librad_radius_client_set_handler(client_, &RadiusClient::onAnswer, this);
        librad_radius_client_set_give_up(client_, &RadiusClient::onGiveUp, this);
    }

    // Sends an Access-Request, with an EAP identity or without, and returns its authenticator.
    ByteString send(bool eap = false) {
        Message msg = accessRequest(librad_radius_client_get_id(client_));
        EXPECT_TRUE(librad_radius_msg_add_attr(msg.get(), 1, "bob", 3));
        if (eap) {
            const ByteString identity = fromHex("02000008 01626f62");
            EXPECT_TRUE(librad_radius_msg_add_eap(msg.get(), identity.data(), identity.size()));
        }
        const ByteString authenticator = authenticatorOf(msg.get());
        if (librad_radius_client_send(client_, msg.get(), LIBRAD_RADIUS_AUTH, nullptr) != 0) {
            return {};
        }
        static_cast<void>(msg.release());
        return authenticator;
    }

    std::size_t outstanding() const {
        return librad_radius_client_outstanding(client_, LIBRAD_RADIUS_AUTH);
    }
    librad_radius_counters counters() const { return librad_radius_client_get_counters(client_); }

    static librad_radius_rx_result onAnswer(librad_radius_msg* msg, librad_radius_msg* request,
                                            unsigned char* secret, unsigned int length,
                                            void* context) {
        auto* self = static_cast<RadiusClient*>(context);
        librad_radius_rx_result result = LIBRAD_RADIUS_RX_ACCEPT;
        if (!self->gullible_ && librad_radius_msg_verify_acct(msg, secret, length, request) != 0) {
            result = LIBRAD_RADIUS_RX_INVALID;
        }
        self->told_.push_back(authenticatorOf(request));
        if (self->inHandler_) {
            std::exchange(self->inHandler_, nullptr)();
            librad_radius_msg_free(msg);
            return LIBRAD_RADIUS_RX_QUEUED;
        }
        return result;
    }

    static void onGiveUp(librad_radius_msg* request, void* context) {
        auto* self = static_cast<RadiusClient*>(context);
        self->givenUp_.push_back(authenticatorOf(request));
        if (self->inGiveUp_) {
            std::exchange(self->inGiveUp_, nullptr)();
        }
    }

    LoopClock clock_;
    Peer server_;
    librad_radius_client* client_ = nullptr;
    bool gullible_ = false;
    std::function<void()> inHandler_;
    std::function<void()> inGiveUp_;
    // The authenticators of the requests that were answered and of those that were given up.
    std::vector<ByteString> told_;
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
        clock_.advance(kSecond / 100);
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

TEST_F(RadiusClient, KeepsARequestOutstandingWhoseAnswerIsForged) {
    makeClient();
    for (const bool gullible : {false, true}) {
        SCOPED_TRACE(gullible);
        gullible_ = gullible;
        told_.clear();
        send();
        const auto packet = server_.receive();
        clock_.monotonic += kSecond;
        server_.deliver(makeAnswer(*packet, 2, Mac::none, "", "another secret"), packet->from);
        EXPECT_EQ(told_.size(), 1U);  // the handler says so in its own words
        EXPECT_EQ(outstanding(), 1U);
        // The timer is where it was: the repetition comes 2 s after the first sending, not the
        // answer.
        clock_.advance(kSecond * 13 / 10);
        ASSERT_TRUE(server_.receive());
        server_.deliver(makeAnswer(*packet, 2), packet->from);
        EXPECT_EQ(told_.size(), 2U);
        EXPECT_EQ(outstanding(), 0U);
    }
    EXPECT_EQ(counters().badAuthenticator, 2U);
}

TEST_F(RadiusClient, TakesNoNoticeOfWhatIsNoAnswerToARequestUnderWay) {
    makeClient();
    const ByteString request = send();
    const auto packet = server_.receive();
    const Peer stranger;
    stranger.deliver(makeAnswer(*packet, 2), packet->from);
    EXPECT_EQ(counters().wrongSource, 1U);
    server_.deliver(fromHex("0201"), packet->from);
    EXPECT_EQ(counters().malformed, 1U);
    server_.deliver(makeAnswer(*packet, 5), packet->from);  // Accounting-Response
    EXPECT_EQ(counters().unexpected, 1U);
    EXPECT_TRUE(told_.empty());
    EXPECT_EQ(outstanding(), 1U);
    server_.deliver(makeAnswer(*packet, 2), packet->from);
    server_.deliver(makeAnswer(*packet, 2), packet->from);  // doubled
    EXPECT_EQ(counters().unexpected, 2U);
    EXPECT_EQ(told_, std::vector<ByteString>{request});
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
    server_.deliver(makeAnswer(*first, 2), first->from);
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
    server_.deliver(makeAnswer(*packet, 11), packet->from);
    packet = server_.receive();
    ASSERT_TRUE(packet);
    EXPECT_EQ(packet->authenticator(), next);
    EXPECT_EQ(outstanding(), 1U);

    inHandler_ = [&] { librad_radius_client_deinit(std::exchange(client_, nullptr)); };
    server_.send(makeAnswer(*packet, 2), packet->from);
    server_.deliver(makeAnswer(*packet, 2), packet->from);
    EXPECT_EQ(told_.size(), 2U);

    makeClient();
    send();
    send();
    inGiveUp_ = [&] { librad_radius_client_deinit(std::exchange(client_, nullptr)); };
    for (int i = 0; i < 31; ++i) {
        clock_.advance(kSecond);
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

TEST_F(RadiusClient, DecidesByTheMessageAuthenticatorWhetherAnAnswerCounts) {
    const struct {
        const char* what;
        librad_require_message_authenticator setting;
        // Accept, reject or challenge; a Message-Authenticator that is valid (+), wrong (x) or
        // missing (-); whether the answer counts; 'e' for a request with EAP.
        std::vector<std::string> answers;
    } rules[] = {
        {"never seen, not needed", LIBRAD_REQUIRE_ONCE_SEEN, {"A-y", "R-y", "A-y"}},
        {"wrong is wrong", LIBRAD_REQUIRE_ONCE_SEEN, {"Axn", "Rxn"}},
        {"then needed, in accepts alone", LIBRAD_REQUIRE_ONCE_SEEN, {"A+y", "A-n", "R-y"}},
        {"a reject with one binds nobody", LIBRAD_REQUIRE_ONCE_SEEN, {"R+y", "A-y"}},
        {"with EAP always needed", LIBRAD_REQUIRE_ONCE_SEEN, {"A-ne", "R-ne", "C+ye"}},
        {"needed from the start", LIBRAD_REQUIRE_ALWAYS, {"A-n", "R-n", "A+y"}},
        {"never needed, yet checked", LIBRAD_REQUIRE_NEVER, {"A+y", "A-y", "Axn", "A-ne"}}};
    for (const auto& rule : rules) {
        makeClient(rule.setting);
        for (const std::string& answer : rule.answers) {
            SCOPED_TRACE(rule.what + (": " + answer));
            told_.clear();
            send(answer.back() == 'e');
            const auto packet = server_.receive();
            ASSERT_TRUE(packet);
            const std::uint8_t code = answer[0] == 'A' ? 2 : answer[0] == 'R' ? 3 : 11;
            const Mac mac = answer[1] == '-'   ? Mac::none
                            : answer[1] == '+' ? Mac::valid
                                               : Mac::wrong;
            // A Reply-Message first: the Message-Authenticator counts wherever it stands.
            server_.deliver(makeAnswer(*packet, code, mac, "12036f"), packet->from);
            EXPECT_EQ(told_.size(), answer[2] == 'y' ? 1U : 0U);
            EXPECT_EQ(outstanding(), answer[2] == 'y' ? 0U : 1U);
            server_.deliver(makeAnswer(*packet, 3, Mac::valid), packet->from);
        }
        librad_radius_client_deinit(std::exchange(client_, nullptr));
    }
}

}  // namespace
}  // namespace ostrel::testing
