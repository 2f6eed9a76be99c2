#include <functional>
#include <map>
#include <set>

#include "support.h"

namespace ostrel::testing {
namespace {

class RadiusClient : public ClientTest {
protected:
    void makeClient(librad_require_message_authenticator setting = LIBRAD_REQUIRE_ONCE_SEEN) {
        config_.requireMessageAuthenticator = setting;
        ClientTest::makeClient();
        librad_radius_client_set_handler(client_, onAnswer, this);
        librad_radius_client_set_give_up(client_, onGiveUp, this);
    }

    static librad_radius_rx_result onAnswer(librad_radius_msg* msg, librad_radius_msg* request,
                                            unsigned char* secret, unsigned int length,
                                            void* context) {
        auto* self = static_cast<RadiusClient*>(context);
        self->told_.push_back(authenticatorOf(request));
        const int wrong = librad_radius_msg_verify_acct(msg, secret, length, request);
        std::exchange(self->then_, [] {})();
        return wrong != 0 && !self->gullible_ ? LIBRAD_RADIUS_RX_INVALID : LIBRAD_RADIUS_RX_ACCEPT;
    }
    static void onGiveUp(librad_radius_msg* request, void* context) {
        auto* self = static_cast<RadiusClient*>(context);
        self->givenUp_.push_back(authenticatorOf(request));
        std::exchange(self->then_, [] {})();
    }

    LoopClock clock_;
    bool gullible_ = false;
    std::function<void()> then_ = [] {};  // what the next callback does
    // The authenticators of the requests that were answered and of those that were given up.
    std::vector<ByteString> told_;
    std::vector<ByteString> givenUp_;
};

TEST_F(RadiusClient, RepeatsASilentServersRequestByteByByteThenGivesItUp) {
    constexpr std::int64_t kStep = kSecond / 100;
    makeClient();
    const ByteString request = send();
    std::vector<std::int64_t> times;
    std::set<ByteString> packets;
    std::int64_t now = 0;
    for (; givenUp_.empty() && now < 40 * kSecond; now += kStep) {
        while (const auto packet = server_.receive()) {
            times.push_back(now);
            packets.insert(packet->bytes);
        }
        clock_.advance(kStep);
    }
    EXPECT_EQ(givenUp_, std::vector<ByteString>{request});
    EXPECT_EQ(now, 30 * kSecond);
    EXPECT_EQ(packets.size(), 1U);
    EXPECT_TRUE(times.size() == 4 || times.size() == 5) << times.size();
    for (std::size_t i = 1; i < times.size(); ++i) {
        const double nominal = static_cast<double>(kSecond << i);
        EXPECT_NEAR(static_cast<double>(times[i] - times[i - 1]), nominal,
                    nominal / 10 + 2 * kStep);
    }
    EXPECT_EQ(outstanding(LIBRAD_RADIUS_AUTH), 0U);
}

TEST_F(RadiusClient, KeepsARequestOutstandingWhoseAnswerIsForged) {
    makeClient();
    for (const bool gullible : {false, true}) {
        gullible_ = gullible;
        told_.clear();
        send();
        const auto packet = server_.receive();
        clock_.monotonic += kSecond;
        server_.answer(*packet, 2, Mac::none, "", "another secret");
        EXPECT_EQ(told_.size(), 1U);  // the handler says so in its own words
        EXPECT_EQ(outstanding(LIBRAD_RADIUS_AUTH), 1U);
        // The repetition comes 2 s after the first sending, not after the answer.
        clock_.advance(kSecond * 13 / 10);
        EXPECT_TRUE(server_.receive());
        server_.answer(*packet, 2);
        EXPECT_EQ(told_.size(), 2U);
        EXPECT_EQ(outstanding(LIBRAD_RADIUS_AUTH), 0U);
    }
    EXPECT_EQ(librad_radius_client_get_counters(client_).badAuthenticator, 2U);
}

TEST_F(RadiusClient, TakesNoNoticeOfWhatIsNoAnswerToARequestUnderWay) {
    makeClient();
    const ByteString request = send();
    const auto packet = server_.receive();
    const ByteString answer = makeAnswer(*packet, 2);
    Peer().deliver(answer, packet->from);
    server_.deliver(fromHex("0201"), packet->from);
    server_.answer(*packet, 5);  // Accounting-Response
    EXPECT_TRUE(told_.empty());
    server_.deliver(answer, packet->from);
    server_.deliver(answer, packet->from);  // doubled
    EXPECT_EQ(told_, std::vector<ByteString>{request});
    const librad_radius_counters counters = librad_radius_client_get_counters(client_);
    EXPECT_EQ(counters.wrongSource, 1U);
    EXPECT_EQ(counters.malformed, 1U);
    EXPECT_EQ(counters.unexpected, 2U);
}

TEST_F(RadiusClient, LetsRequestsWaitInOrderWhenSixteenPortsAreFull) {
    makeClient();
    const ByteString request = send();
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
    server_.answer(*first, 2);
    EXPECT_EQ(told_, std::vector<ByteString>{request});  // among sixteen of its identifier
    EXPECT_EQ(server_.receive().value().authenticator(), next);
    EXPECT_FALSE(server_.receive());
}

TEST_F(RadiusClient, LetsACallbackSendTheNextRequestOrEndTheClient) {
    makeClient();
    send();
    auto packet = server_.receive();
    ByteString next;
    then_ = [&] { next = send(); };
    server_.answer(*packet, 11);
    packet = server_.receive().value();
    EXPECT_EQ(packet->authenticator(), next);
    EXPECT_EQ(outstanding(LIBRAD_RADIUS_AUTH), 1U);

    then_ = [&] { end(); };
    server_.send(makeAnswer(*packet, 2), packet->from);
    server_.answer(*packet, 2);
    EXPECT_EQ(told_.size(), 2U);

    makeClient();
    send();
    send();
    then_ = [&] { end(); };
    for (int i = 0; i < 31; ++i) {
        clock_.advance(kSecond);
    }
    EXPECT_EQ(givenUp_.size(), 1U);
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
    const std::map<char, std::uint8_t> codes = {{'A', 2}, {'R', 3}, {'C', 11}};
    const std::map<char, Mac> macs = {{'-', Mac::none}, {'+', Mac::valid}, {'x', Mac::wrong}};
    for (const auto& rule : rules) {
        makeClient(rule.setting);
        for (const std::string& answer : rule.answers) {
            told_.clear();
            send(answer.back() == 'e');
            const auto packet = server_.receive();
            // A Reply-Message first: the Message-Authenticator counts wherever it stands.
            server_.answer(*packet, codes.at(answer[0]), macs.at(answer[1]), "12036f");
            const bool counts = answer[2] == 'y';
            EXPECT_EQ(told_.size(), counts ? 1U : 0U) << rule.what << ": " << answer;
            EXPECT_EQ(outstanding(LIBRAD_RADIUS_AUTH), counts ? 0U : 1U)
                << rule.what << ": " << answer;
            server_.answer(*packet, 3, Mac::valid);
        }
        end();
    }
}

}  // namespace
}  // namespace ostrel::testing
