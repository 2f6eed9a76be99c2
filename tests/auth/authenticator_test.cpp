// What each mode makes of a login, and what the RADIUS modes make of the answers of servers that
// are right, late, wrong or hostile.

#include "auth/authenticator.h"

#include <gmock/gmock.h>

#include "auth/portal_mac_authenticator.h"
#include "auth/radius_authenticator.h"
#include "radius/worker_fixture.h"

namespace vesta {
namespace {

using ostrel::testing::Mac;
using ostrel::testing::Packet;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::WorkerTest;

constexpr std::uint8_t kAccept = LIBRAD_RADIUS_CODE_ACCESS_ACCEPT;
constexpr std::uint8_t kReject = LIBRAD_RADIUS_CODE_ACCESS_REJECT;
constexpr std::uint8_t kChallenge = LIBRAD_RADIUS_CODE_ACCESS_CHALLENGE;

TEST(AuthModeTest, KnowsItsNamesToTheLetter) {
    EXPECT_EQ(parseAuthMode("radius"), AUTH_MODE_RADIUS);
    EXPECT_EQ(parseAuthMode("portal"), AUTH_MODE_PORTAL);
    EXPECT_EQ(parseAuthMode("portal-mac-auth"), AUTH_MODE_PORTAL_MAC);
    for (const char* const other : {"", "local", "Radius", "radius ", "portal-mac"}) {
        EXPECT_EQ(parseAuthMode(other), AUTH_MODE_LOCAL) << other;
    }
}

class AuthenticatorTest : public WorkerTest {
protected:
    void build(AUTH_MODE mode, const std::string& more = "", const std::string& uplink = "lo") {
        WorkerTest::build(mode, RADIUS_WORKMODE_AUTHENTICATION, more, uplink);
        if (mode == AUTH_MODE_RADIUS) {
            authenticator_ = std::make_unique<RadiusAuthenticator>(worker_, owner_);
        } else {
            authenticator_ = std::make_unique<PortalMacAuthenticator>(worker_, owner_);
        }
    }
    std::shared_ptr<Client> ask(const std::string& login = "bob") {
        const auto client = newClient(login);
        EXPECT_TRUE(worker_->sendAuthPacket(client, login));
        return client;
    }
    // What the instance is asked to do because of that answer.
    std::vector<std::string> answer(const Packet& to, std::uint8_t code,
                                    const std::string& attributes = "",
                                    const std::string& secret = ostrel::testing::kSecret) {
        server_.answer(to, code, Mac::valid, attributes, secret);
        return std::exchange(owner_.asked, {});
    }
    static std::string eapOf(const Packet& packet) {
        unsigned int length = 0;
        const unsigned char* eap = librad_radius_msg_get_eap(packet.msg.get(), &length);
        return ostrel::testing::toHex(eap, length);
    }

    std::unique_ptr<Authenticator> authenticator_;
};

TEST_F(AuthenticatorTest, AsksAndActsOnTheServersDecision) {
    const struct {
        AUTH_MODE mode;
        std::uint8_t code;
        const char* attributes;
        std::vector<std::string> asked;
        std::vector<std::string> classes;
    } cases[] = {
        {AUTH_MODE_RADIUS, kAccept, "", {"auth"}, {}},
        {AUTH_MODE_RADIUS, kAccept, "1903 61 1903 62", {"auth"}, {"a", "b"}},
        {AUTH_MODE_RADIUS, kReject, "", {"deleted 2"}, {"old"}},
        {AUTH_MODE_PORTAL_MAC, kReject, "", {"deleted 2"}, {"old"}},
        {AUTH_MODE_PORTAL_MAC, kAccept, "", {}, {}},
        {AUTH_MODE_PORTAL_MAC, kAccept, "1a0a 00007ed9 1f04 0001", {}, {}},
        {AUTH_MODE_PORTAL_MAC, kAccept, "1a0c 00007ed8 1f06 00000001", {}, {}},
        {AUTH_MODE_PORTAL_MAC, kAccept, "1a0c 00007ed9 1f06 00000001", {"macSuccess"}, {}},
        {AUTH_MODE_PORTAL_MAC, kAccept, "1a0c 00007ed9 1f06 01000000", {"macSuccess"}, {}},
        {AUTH_MODE_PORTAL_MAC, kAccept, "1a0c 00007ed9 1f06 00000000", {"macFailure"}, {}},
    };
    for (const auto& given : cases) {
        build(given.mode, R"(, "auth-acct-id-send": true)");
        const bool byMac = given.mode == AUTH_MODE_PORTAL_MAC;
        const auto client = newClient();
        client->getRadiusSta()->classes = {"old"};
        EXPECT_EQ(authenticator_->makeAuthenticate(client, "bob", "hello"),
                  byMac ? NOT_AUTHENTICATED : AUTHENTICATION_PENDING);
        EXPECT_EQ(authenticator_->authConnectedUser(client), byMac);
        const Packet packet = request();
        EXPECT_EQ(packet.bytes[20], LIBRAD_RADIUS_ATTR_MESSAGE_AUTHENTICATOR);
        EXPECT_EQ(packet.text(LIBRAD_RADIUS_ATTR_ACCT_SESSION_ID), client->getSessionId());
        EXPECT_EQ(packet.number(LIBRAD_RADIUS_ATTR_NAS_IP_ADDRESS), 0x7f000001U);
        EXPECT_EQ(packet.text(LIBRAD_RADIUS_ATTR_NAS_IDENTIFIER), testing::kDeviceMac);
        EXPECT_EQ(packet.number(LIBRAD_RADIUS_ATTR_FRAMED_IP_ADDRESS), 0x0a010203U);
        EXPECT_EQ(packet.number(LIBRAD_RADIUS_ATTR_FRAMED_MTU), 1500U);
        EXPECT_EQ(packet.text(LIBRAD_RADIUS_ATTR_USER_NAME), byMac ? "0A-1B-2C-3D-4E-5F" : "bob");
        EXPECT_EQ(packet.text(LIBRAD_RADIUS_ATTR_USER_PASSWORD).size(), byMac ? 16U : 0U);
        EXPECT_EQ(eapOf(packet), byMac ? "" : "0200000801626f62");
        EXPECT_EQ(client->getPassword(), byMac ? "PLACEHOLDR" : "hello");
        EXPECT_TRUE(isSilent());
        EXPECT_EQ(answer(packet, given.code, given.attributes), given.asked)
            << given.mode << " " << given.attributes;
        EXPECT_EQ(client->getRadiusSta()->classes, given.classes);
    }
}

TEST_F(AuthenticatorTest, TellsApartRequestsThatShareAnIdentifier) {
    build(AUTH_MODE_RADIUS);
    std::vector<Packet> requests;
    for (int i = 0; i < 257; ++i) {
        ask();
        requests.push_back(request());
    }
    answer(requests[256], kAccept, "1903 62");
    answer(requests[0], kAccept, "1903 61");
    EXPECT_THAT(clients_[256]->getRadiusSta()->classes, ElementsAre("b"));
    EXPECT_THAT(clients_[0]->getRadiusSta()->classes, ElementsAre("a"));
}

TEST_F(AuthenticatorTest, CountsOnlyGenuineAnswersToTheLastLoginOfAStation) {
    build(AUTH_MODE_RADIUS);
    const auto client = ask("alice");
    const Packet alice = request();
    EXPECT_TRUE(worker_->sendAuthPacket(client, "bob"));
    const Packet bob = request();
    EXPECT_THAT(answer(alice, kAccept), IsEmpty());
    EXPECT_THAT(answer(bob, kAccept, "", "guess"), IsEmpty());
    EXPECT_THAT(answer(bob, kReject), ElementsAre("deleted 2"));
}

TEST_F(AuthenticatorTest, AnswersAnMd5ChallengeAndOffersMd5ForAnyOther) {
    build(AUTH_MODE_RADIUS);
    ask();
    EXPECT_THAT(answer(request(), kChallenge, "4f08 0109 0006 19 20"), IsEmpty());
    const Packet nak = request();
    EXPECT_EQ(eapOf(nak), "020900060304");
    answer(nak, kChallenge, "1804 cafe  4f18 0107 0016 0410 000102030405060708090a0b0c0d0e0f");
    const Packet response = request();
    EXPECT_EQ(response.text(LIBRAD_RADIUS_ATTR_STATE), "\xca\xfe");
    EXPECT_EQ(response.text(LIBRAD_RADIUS_ATTR_USER_NAME), "bob");
    // MD5 over 07, "hello" and the challenge.
    EXPECT_EQ(eapOf(response), "0207001604105694f06ba6105ba5775fe81fab295965");
    EXPECT_FALSE(worker_->sendChallengeResp(response.msg.get(), 7, std::string(256, 'c'), ""));
    EXPECT_TRUE(isSilent());
    EXPECT_THAT(answer(response, kAccept), ElementsAre("auth"));
}

TEST_F(AuthenticatorTest, AnswersNoMoreThanEightChallenges) {
    build(AUTH_MODE_RADIUS);
    ask();
    Packet packet = request();
    for (int i = 0; i < 8; ++i) {
        answer(packet, kChallenge, "4f08 0109 0006 19 20");
        packet = request();
    }
    EXPECT_THAT(answer(packet, kChallenge, "4f08 0109 0006 19 20"), IsEmpty());
    EXPECT_TRUE(isSilent());
    EXPECT_THAT(answer(packet, kAccept), IsEmpty());
}

TEST_F(AuthenticatorTest, AnswersOnlyAChallengeOfTheRightShape) {
    const std::pair<const char*, const char*> shapes[] = {
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
        const Packet packet = request();
        answer(packet, kChallenge, attributes);
        EXPECT_TRUE(isSilent()) << what;
        EXPECT_THAT(answer(packet, kAccept), IsEmpty()) << what;
    }
    // As long as the challenge, zeros behind the digest.
    ask();
    answer(request(), kChallenge, "4f1c 0107001a 0414" + std::string(40, '6'));
    EXPECT_EQ(eapOf(request()), "0207001a04143af355b2af5bf5c9c07f9415bfc9b41b00000000");
}

// Two requests could not be sent, one of these stations is gone by the time to ask again, and a
// third request is still under way.
TEST_F(AuthenticatorTest, AsksAgainForAMacThatStillWaits) {
    build(AUTH_MODE_PORTAL_MAC);
    ask();
    const auto waiting = newClient(std::string(254, 'x'));
    const auto gone = newClient(waiting->getLogin());
    for (const auto& client : {waiting, gone}) {
        EXPECT_FALSE(worker_->sendAuthPacket(client, client->getLogin()));
    }
    ClientStatisticInfo statistics;
    EXPECT_TRUE(worker_->informClientRemoved(gone, statistics));
    EXPECT_EQ(gone->getRadiusSta(), nullptr);
    clock_.advanceSeconds(29);
    EXPECT_THAT(worker_->takeUnanswered(), IsEmpty());
    clock_.advanceSeconds(1);
    EXPECT_THAT(worker_->takeUnanswered(), ElementsAre(waiting));
    EXPECT_THAT(worker_->takeUnanswered(), IsEmpty());
}

TEST_F(AuthenticatorTest, SendsNothingThatIsIncomplete) {
    build(AUTH_MODE_RADIUS, R"(, "auth-acct-id-send": true)");
    const auto client = newClient();
    EXPECT_FALSE(worker_->sendAuthPacket(client, ""));
    RadiusWorker::deleteSta(client->getRadiusSta());
    client->setRadiusSta(nullptr);
    EXPECT_FALSE(worker_->sendAuthPacket(client, "bob"));
    build(AUTH_MODE_RADIUS, "", "no-such-if");
    EXPECT_FALSE(worker_->sendAuthPacket(newClient(), "bob"));
    RadiusWorker withoutServer(std::make_shared<JsonEntry>("{}"), "lo", RADIUS_WORKMODE_BOTH,
                               AUTH_MODE_RADIUS, "wlan0-va1");
    Singleton<RadiusListener>::getInstance().stop();
    EXPECT_FALSE(withoutServer.sendAuthPacket(newClient(), "bob"));
    EXPECT_EQ(withoutServer.getRadiusSharedKey().second, 0U);
    EXPECT_TRUE(isSilent());
}

}  // namespace
}  // namespace vesta
