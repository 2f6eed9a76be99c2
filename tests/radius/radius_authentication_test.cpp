// A worker against servers that are right, silent, late, doubled, wrong or hostile.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "station/client_statistic_info.h"
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
};

TEST_F(AuthenticationTest, TellsApartRequestsThatShareAnIdentifier) {
    build(AUTH_MODE_RADIUS);
    std::vector<std::pair<std::shared_ptr<Client>, rad>> requests;
    for (int i = 0; i < 257; ++i) {
        const auto client = ask("user" + std::to_string(i));
        requests.emplace_back(client, request());
    }
    for (auto it = requests.rbegin(); it != requests.rend(); ++it) {
        answer(it->second, kAccept);
        EXPECT_THAT(told(), ElementsAre(Pair(LIBRAD_RADIUS_RX_ACCEPT, it->first)));
    }
}

TEST_F(AuthenticationTest, CountsOnlyGenuineAnswersToTheLastLoginOfAStation) {
    build(AUTH_MODE_RADIUS);
    const auto client = ask("alice");
    const rad alice = request();
    EXPECT_TRUE(worker_->sendAuthPacket(client, "bob"));
    const rad bob = request();
    answer(alice, kAccept);
    answer(bob, kAccept, "", "guess");
    answer(bob, kReject);
    EXPECT_THAT(told(), ElementsAre(Pair(LIBRAD_RADIUS_RX_UNKNOWN, nullptr),
                                    Pair(LIBRAD_RADIUS_RX_INVALID, nullptr),
                                    Pair(LIBRAD_RADIUS_RX_REJECT, client)));
}

TEST_F(AuthenticationTest, SendsThePasswordOfAMacLoginHiddenAndSaysWhoAsks) {
    build(AUTH_MODE_PORTAL_MAC, RADIUS_WORKMODE_AUTHENTICATION, R"(, "auth-acct-id-send": true)");
    const auto client = ask("0A-1B-2C-3D-4E-5F");
    const rad packet = request();
    EXPECT_EQ(packet.bytes[20], LIBRAD_RADIUS_ATTR_MESSAGE_AUTHENTICATOR);
    EXPECT_EQ(packet.text(LIBRAD_RADIUS_ATTR_USER_NAME), "0A-1B-2C-3D-4E-5F");
    EXPECT_EQ(packet.text(LIBRAD_RADIUS_ATTR_USER_PASSWORD).size(), 16U);
    EXPECT_EQ(eapOf(packet), "");
    EXPECT_EQ(packet.text(LIBRAD_RADIUS_ATTR_ACCT_SESSION_ID), client->getSessionId());
    EXPECT_EQ(packet.number(LIBRAD_RADIUS_ATTR_NAS_IP_ADDRESS), 0x7f000001U);
    EXPECT_EQ(packet.text(LIBRAD_RADIUS_ATTR_NAS_IDENTIFIER), testing::kDeviceMac);
    EXPECT_EQ(packet.number(LIBRAD_RADIUS_ATTR_FRAMED_IP_ADDRESS), 0x0a010203U);
    EXPECT_EQ(packet.number(LIBRAD_RADIUS_ATTR_FRAMED_MTU), 1500U);
}

TEST_F(AuthenticationTest, AnswersAnMd5ChallengeAndOffersMd5ForAnyOther) {
    build(AUTH_MODE_RADIUS);
    const auto client = ask();
    const rad identity = request();
    EXPECT_EQ(eapOf(identity), "0200000801626f62");
    answer(identity, kChallenge, "4f08 0109 0006 19 20");
    const rad nak = request();
    EXPECT_EQ(eapOf(nak), "020900060304");
    answer(nak, kChallenge, "1804 cafe  4f18 0107 0016 0410 000102030405060708090a0b0c0d0e0f");
    const rad response = request();
    EXPECT_EQ(response.text(LIBRAD_RADIUS_ATTR_STATE), "\xca\xfe");
    EXPECT_EQ(response.text(LIBRAD_RADIUS_ATTR_USER_NAME), "bob");
    // MD5 over 07, "hello" and the challenge.
    EXPECT_EQ(eapOf(response), "0207001604105694f06ba6105ba5775fe81fab295965");
    answer(response, kAccept);
    EXPECT_THAT(told(), ElementsAre(Pair(LIBRAD_RADIUS_RX_QUEUED, nullptr),
                                    Pair(LIBRAD_RADIUS_RX_QUEUED, nullptr),
                                    Pair(LIBRAD_RADIUS_RX_ACCEPT, client)));
}

TEST_F(AuthenticationTest, AnswersNoChallengeOfAWrongShape) {
    const std::map<std::string, const char*> shapes = {
        {"shorter than a header", "4f05 010700"},
        {"no type", "4f06 01070004"},
        {"length beyond the packet", "4f09 0107000804 0141"},
        {"length within the header", "4f08 0107000304 01"},
        {"a response", "4f09 0207000704 0141"},
        {"no value size", "4f07 0107000504"},
        {"value size beyond the length", "4f09 0107000704 0241"},
        {"value in the padding", "4f09 0107000604 0141"},
        {"empty challenge", "4f08 0107000604 00"},
        {"no EAP at all", "1804 cafe"},
    };
    build(AUTH_MODE_RADIUS);
    for (const auto& [what, attributes] : shapes) {
        ask();
        const rad packet = request();
        answer(packet, kChallenge, attributes);
        EXPECT_THAT(told(), ElementsAre(Pair(what == "no EAP at all" ? LIBRAD_RADIUS_RX_QUEUED
                                                                     : LIBRAD_RADIUS_RX_UNKNOWN,
                                             nullptr)))
            << what;
        EXPECT_TRUE(isSilent()) << what;
        answer(packet, kAccept);
        EXPECT_THAT(told(), IsEmpty()) << what;
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

    // A request that could not be sent is made good, a station that is gone is not asked for.
    const auto tooLong = newClient(std::string(254, 'x'));
    EXPECT_FALSE(worker_->sendAuthPacket(tooLong, tooLong->getLogin()));
    const auto gone = newClient(std::string(254, 'x'));
    EXPECT_FALSE(worker_->sendAuthPacket(gone, gone->getLogin()));
    ClientStatisticInfo statistics;
    EXPECT_TRUE(worker_->informClientRemoved(gone, statistics));
    EXPECT_EQ(gone->getRadiusSta(), nullptr);
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
    RadiusWorker withoutServer(std::make_shared<JsonEntry>("{}"), "lo", RADIUS_WORKMODE_BOTH,
                               AUTH_MODE_RADIUS, "wlan0-va1");
    Singleton<RadiusListener>::getInstance().stop();
    EXPECT_FALSE(withoutServer.sendAuthPacket(newClient(), "bob"));
    EXPECT_EQ(withoutServer.getRadiusSharedKey().second, 0U);
    EXPECT_TRUE(isSilent());
}

TEST_F(AuthenticationTest, HandsOutTheAccountingSecretFirst) {
    for (const auto& [workmode, secret] : {std::pair(RADIUS_WORKMODE_AUTHENTICATION, "s3cret"),
                                           {RADIUS_WORKMODE_ACCOUNTING, "other"},
                                           {RADIUS_WORKMODE_BOTH, "other"}}) {
        build(AUTH_MODE_RADIUS, workmode, R"(, "acct-password": "other")");
        const RadiusSharedKey key = worker_->getRadiusSharedKey();
        EXPECT_EQ(std::string(key.first, key.first + key.second), secret);
    }
}

}  // namespace
}  // namespace vesta
