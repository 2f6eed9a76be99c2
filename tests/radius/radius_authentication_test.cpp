// A worker against servers that are right, silent, late, doubled, wrong or hostile.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <set>
#include <stdexcept>

#include "client/client_statistic_info.h"
#include "worker_fixture.h"

namespace vesta {
namespace {

using rad = ostrel::testing::Packet;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using testing::WorkerTest;

constexpr std::uint8_t kAccept = LIBRAD_RADIUS_CODE_ACCESS_ACCEPT;
constexpr std::uint8_t kReject = LIBRAD_RADIUS_CODE_ACCESS_REJECT;
constexpr std::uint8_t kChallenge = LIBRAD_RADIUS_CODE_ACCESS_CHALLENGE;

class AuthenticationTest : public WorkerTest {
protected:
    std::shared_ptr<Client> ask(const std::string& login = "bob") {
        const auto client = newClient(login);
        EXPECT_TRUE(worker_->sendAuthPacket(client, login));
        return client;
    }
    // Steps through the retransmissions until the library has given up.
    void waitUntilGivenUp() {
        for (int second = 0; second < 40; ++second) {
            clock_.advanceSeconds(1);
            librad_eloop_step();
        }
        while (server_.receive()) {
        }
    }
    static std::string eapOf(const rad& packet) {
        unsigned int length = 0;
        const unsigned char* eap = librad_radius_msg_get_eap(packet.msg.get(), &length);
        return ostrel::testing::toHex(eap, length);
    }
    static std::string textOf(const rad& packet, std::uint8_t type) {
        return ostrel::testing::text(packet.msg.get(), type);
    }
};

TEST_F(AuthenticationTest, AStaleEntryAdmitsNobodyWhenItsIdentifierComesRoundAgain) {
    build(AUTH_MODE_RADIUS);
    const auto lost = ask("lost");
    const rad lostRequest = request();
    waitUntilGivenUp();

    // The next stations wear out the identifiers until the lost one's is in use again.
    std::shared_ptr<Client> heir;
    std::optional<rad> heirRequest;
    for (int i = 0; i < 256 && !heirRequest; ++i) {
        const auto client = ask("heir");
        rad packet = request();
        if (packet.id() == lostRequest.id()) {
            heir = client;
            heirRequest = std::move(packet);
        } else {
            answer(packet, kReject);
        }
    }
    ASSERT_TRUE(heirRequest);
    told();
    answer(lostRequest, kAccept);  // late
    for (const auto& [code, client] : told()) {
        EXPECT_EQ(client, nullptr) << code;
    }
    answer(*heirRequest, kAccept);
    EXPECT_THAT(told(), ElementsAre(Pair(LIBRAD_RADIUS_RX_ACCEPT, heir)));
}

TEST_F(AuthenticationTest, TellsApartRequestsThatShareAnIdentifier) {
    build(AUTH_MODE_RADIUS);
    std::vector<std::pair<std::shared_ptr<Client>, rad>> requests;
    std::set<std::uint8_t> ids;
    for (int i = 0; i < 300; ++i) {
        const auto client = ask("user" + std::to_string(i));
        requests.emplace_back(client, request());
        ids.insert(requests.back().second.id());
    }
    EXPECT_LT(ids.size(), requests.size());
    for (auto it = requests.rbegin(); it != requests.rend(); ++it) {
        answer(it->second, kAccept);
        EXPECT_THAT(told(), ElementsAre(Pair(LIBRAD_RADIUS_RX_ACCEPT, it->first)));
    }
}

TEST_F(AuthenticationTest, WaitsOnAfterAnAnswerWithAWrongAuthenticator) {
    build(AUTH_MODE_RADIUS);
    const auto client = ask();
    const rad packet = request();
    answer(packet, kAccept, "", "guess");
    EXPECT_THAT(told(), ElementsAre(Pair(LIBRAD_RADIUS_RX_INVALID, nullptr)));
    answer(packet, kAccept);
    EXPECT_THAT(told(), ElementsAre(Pair(LIBRAD_RADIUS_RX_ACCEPT, client)));
}

TEST_F(AuthenticationTest, ForgetsAStationThatIsRemovedAndALoginThatIsRepeated) {
    build(AUTH_MODE_RADIUS);
    const auto removed = ask("alice");
    const rad first = request();
    ClientStatisticInfo statistics;
    EXPECT_TRUE(worker_->informClientRemoved(removed, statistics));
    EXPECT_EQ(removed->getRadiusSta(), nullptr);
    answer(first, kAccept);
    EXPECT_THAT(told(), ElementsAre(Pair(LIBRAD_RADIUS_RX_UNKNOWN, nullptr)));

    // A good login followed by another one on the same station: only the last one counts.
    const auto client = ask("alice");
    const rad alice = request();
    client->setLogin("bob");
    EXPECT_TRUE(worker_->sendAuthPacket(client, "bob"));
    const rad bob = request();
    answer(alice, kAccept);
    answer(bob, kReject);
    EXPECT_THAT(told(), ElementsAre(Pair(LIBRAD_RADIUS_RX_UNKNOWN, nullptr),
                                    Pair(LIBRAD_RADIUS_RX_REJECT, client)));
}

TEST_F(AuthenticationTest, SendsThePasswordOfAMacLoginHiddenAndSaysWhoAsks) {
    build(AUTH_MODE_PORTAL_MAC, RADIUS_WORKMODE_AUTHENTICATION, R"(, "auth-acct-id-send": true)");
    const auto client = ask("0A-1B-2C-3D-4E-5F");
    const rad packet = request();
    EXPECT_EQ(packet.bytes[20], LIBRAD_RADIUS_ATTR_MESSAGE_AUTHENTICATOR);
    EXPECT_EQ(textOf(packet, LIBRAD_RADIUS_ATTR_USER_NAME), "0A-1B-2C-3D-4E-5F");
    EXPECT_EQ(textOf(packet, LIBRAD_RADIUS_ATTR_USER_PASSWORD).size(), 16U);
    EXPECT_EQ(eapOf(packet), "");
    EXPECT_EQ(textOf(packet, LIBRAD_RADIUS_ATTR_ACCT_SESSION_ID), client->getSessionId());
    EXPECT_EQ(ostrel::testing::number(packet.msg.get(), LIBRAD_RADIUS_ATTR_NAS_IP_ADDRESS),
              0x7f000001U);
    EXPECT_EQ(textOf(packet, LIBRAD_RADIUS_ATTR_NAS_IDENTIFIER), testing::kDeviceMac);
    EXPECT_EQ(ostrel::testing::number(packet.msg.get(), LIBRAD_RADIUS_ATTR_FRAMED_IP_ADDRESS),
              0x0a010203U);
    EXPECT_EQ(ostrel::testing::number(packet.msg.get(), LIBRAD_RADIUS_ATTR_FRAMED_MTU), 1500U);
}

TEST_F(AuthenticationTest, AnswersAnMd5ChallengeForTheSameStation) {
    build(AUTH_MODE_RADIUS);
    const auto client = ask();
    const rad identity = request();
    EXPECT_EQ(eapOf(identity), "0200000801626f62");
    answer(identity, kChallenge, "1804 cafe  4f18 0107 0016 0410 000102030405060708090a0b0c0d0e0f");
    const rad response = request();
    EXPECT_EQ(textOf(response, LIBRAD_RADIUS_ATTR_STATE), "\xca\xfe");
    EXPECT_EQ(textOf(response, LIBRAD_RADIUS_ATTR_USER_NAME), "bob");
    // MD5 over 07, "hello" and the challenge.
    EXPECT_EQ(eapOf(response), "0207001604105694f06ba6105ba5775fe81fab295965");
    answer(response, kAccept);
    EXPECT_THAT(told(), ElementsAre(Pair(LIBRAD_RADIUS_RX_QUEUED, nullptr),
                                    Pair(LIBRAD_RADIUS_RX_ACCEPT, client)));
}

TEST_F(AuthenticationTest, OffersMd5WhenTheServerAsksForAnythingElse) {
    build(AUTH_MODE_RADIUS);
    const auto client = ask();
    answer(request(), kChallenge, "4f08 0109 0006 19 20");
    const rad nak = request();
    EXPECT_EQ(eapOf(nak), "020900060304");
    answer(nak, kReject);
    EXPECT_EQ(told().back(), std::make_pair(int{LIBRAD_RADIUS_RX_REJECT}, client));
}

TEST_F(AuthenticationTest, AnswersNoChallengeOfAWrongShape) {
    struct Shape {
        const char* what;
        const char* attributes;
        librad_radius_rx_result result;
    };
    const Shape shapes[] = {
        {"no EAP at all", "1804 cafe", LIBRAD_RADIUS_RX_QUEUED},
        {"shorter than a header", "4f05 010700", LIBRAD_RADIUS_RX_UNKNOWN},
        {"no type", "4f06 01070004", LIBRAD_RADIUS_RX_UNKNOWN},
        {"length beyond the packet", "4f09 0107000804 0141", LIBRAD_RADIUS_RX_UNKNOWN},
        {"length within the header", "4f08 0107000304 01", LIBRAD_RADIUS_RX_UNKNOWN},
        {"a response", "4f09 0207000704 0141", LIBRAD_RADIUS_RX_UNKNOWN},
        {"success", "4f06 03070004", LIBRAD_RADIUS_RX_UNKNOWN},
        {"no value size", "4f07 0107000504", LIBRAD_RADIUS_RX_UNKNOWN},
        {"value size beyond the length", "4f09 0107000704 0241", LIBRAD_RADIUS_RX_UNKNOWN},
        {"value in the padding", "4f09 0107000604 0141", LIBRAD_RADIUS_RX_UNKNOWN},
        {"empty challenge", "4f08 0107000604 00", LIBRAD_RADIUS_RX_UNKNOWN},
    };
    build(AUTH_MODE_RADIUS);
    for (const Shape& shape : shapes) {
        ask();
        const rad packet = request();
        answer(packet, kChallenge, shape.attributes);
        EXPECT_THAT(told(), ElementsAre(Pair(shape.result, nullptr))) << shape.what;
        EXPECT_TRUE(isSilent()) << shape.what;
        answer(packet, kAccept);
        EXPECT_THAT(told(), IsEmpty()) << shape.what;
    }
}

TEST_F(AuthenticationTest, SendsALongChallengesResponseAtItsLengthAndRefusesALongerOne) {
    build(AUTH_MODE_RADIUS);
    ask();
    rad packet = request();
    EXPECT_FALSE(worker_->sendChallengeResp(packet.msg.get(), 7, std::string(256, 'c'), ""));
    EXPECT_TRUE(isSilent());
    EXPECT_TRUE(worker_->sendChallengeResp(packet.msg.get(), 7, std::string(20, 'c'), ""));
    const std::string eap = eapOf(request());
    EXPECT_EQ(eap.substr(0, 12), "0207001a0414");
    EXPECT_EQ(eap.substr(44), "00000000");
}

TEST_F(AuthenticationTest, AsksAgainForAMacAfterAnOutage) {
    build(AUTH_MODE_PORTAL_MAC);
    const auto client = ask();
    EXPECT_THAT(worker_->takeUnanswered(), IsEmpty());
    waitUntilGivenUp();
    EXPECT_THAT(worker_->takeUnanswered(), IsEmpty());
    clock_.advanceSeconds(29);
    EXPECT_THAT(worker_->takeUnanswered(), ElementsAre(client));
    EXPECT_THAT(worker_->takeUnanswered(), IsEmpty());
    EXPECT_TRUE(worker_->sendAuthPacket(client, "bob"));
    answer(request(), kAccept);
    EXPECT_THAT(told(), ElementsAre(Pair(LIBRAD_RADIUS_RX_ACCEPT, client)));
    clock_.advanceSeconds(100);
    EXPECT_THAT(worker_->takeUnanswered(), IsEmpty());

    // A request that could not be sent is made good, a station that is gone is not asked for.
    const auto tooLong = newClient(std::string(254, 'x'));
    EXPECT_FALSE(worker_->sendAuthPacket(tooLong, tooLong->getLogin()));
    const auto gone = newClient(std::string(254, 'x'));
    EXPECT_FALSE(worker_->sendAuthPacket(gone, gone->getLogin()));
    ClientStatisticInfo statistics;
    worker_->informClientRemoved(gone, statistics);
    clock_.advanceSeconds(30);
    EXPECT_THAT(worker_->takeUnanswered(), ElementsAre(tooLong));
}

TEST_F(AuthenticationTest, SendsNothingThatIsIncomplete) {
    build(AUTH_MODE_RADIUS, RADIUS_WORKMODE_AUTHENTICATION, R"(, "auth-acct-id-send": true)");
    const auto client = newClient();
    EXPECT_FALSE(worker_->sendAuthPacket(client, ""));
    RadiusWorker::deleteSta(client->getRadiusSta());
    client->setRadiusSta(nullptr);
    EXPECT_FALSE(worker_->sendAuthPacket(client, "bob"));
    build(AUTH_MODE_RADIUS, RADIUS_WORKMODE_AUTHENTICATION, "", "no-such-if");
    EXPECT_FALSE(worker_->sendAuthPacket(newClient(), "bob"));
    EXPECT_TRUE(isSilent());
}

TEST_F(AuthenticationTest, ServesOnWithAServerThatCanNotBeAsked) {
    const auto nothing = std::make_shared<JsonEntry>("{}");
    RadiusWorker worker(nothing, "lo", RADIUS_WORKMODE_BOTH, AUTH_MODE_RADIUS, "wlan0-va1");
    Singleton<RadiusListener>::getInstance().stop();
    EXPECT_FALSE(worker.sendAuthPacket(newClient(), "bob"));
    EXPECT_EQ(worker.getRadiusSharedKey().second, 0U);
}

TEST_F(AuthenticationTest, EndsTheStartWhenTheSystemHasNoDescriptors) {
#if defined(__has_feature)
#if __has_feature(undefined_behavior_sanitizer)
    GTEST_SKIP() << "the sanitizer itself needs descriptors";
#endif
#endif
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    rlimit none = limit;
    none.rlim_cur = 3;
    setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_THROW(build(AUTH_MODE_RADIUS), std::runtime_error);
    setrlimit(RLIMIT_NOFILE, &limit);
}

TEST_F(AuthenticationTest, HandsOutTheAccountingSecretFirst) {
    const std::string other = R"(, "acct-password": "other")";
    struct Case {
        RadiusWorkmode workmode;
        std::string secret;
    };
    for (const Case& mode :
         {Case{RADIUS_WORKMODE_AUTHENTICATION, "s3cret"}, Case{RADIUS_WORKMODE_ACCOUNTING, "other"},
          Case{RADIUS_WORKMODE_BOTH, "other"}}) {
        build(AUTH_MODE_RADIUS, mode.workmode, other);
        const RadiusSharedKey key = worker_->getRadiusSharedKey();
        EXPECT_EQ(std::string(key.first, key.first + key.second), mode.secret);
    }
}

}  // namespace
}  // namespace vesta
