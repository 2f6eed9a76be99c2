#include "apsim/radius_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <thread>

#include "apsim/input.h"
#include "apsim/udp_socket.h"
#include "platform/librad/support.h"

namespace apsim {
namespace {

using nlohmann::json;
using ostrel::testing::ByteString;
using ostrel::testing::kSecret;
using ostrel::testing::Message;
using ::testing::HasSubstr;

const char* const kKnownMac = "02:00:00:00:00:01";
const char* const kNewMac = "02:00:00:00:00:02";

RadiusBook book() {
    return RadiusBook::parse({{"secret", kSecret},
                              {"users", {{"anna", "right"}, {"bert", "other"}}},
                              {"stations",
                               {{kKnownMac, {{"known", true}}},
                                {kNewMac, {{"known", false}, {"redirect-url", "http://p/"}}}}}},
                             "r.json");
}

std::string datagramOf(const ByteString& bytes) {
    return {bytes.begin(), bytes.end()};
}

std::string attribute(const librad_radius_msg* msg, std::uint8_t type) {
    return ostrel::testing::text(msg, type);
}

class RadiusResponderTest : public ::testing::Test {
protected:
    Message accessRequest(const std::string& user) {
        Message msg = ostrel::testing::accessRequest(7);
        EXPECT_TRUE(librad_radius_msg_add_attr(msg.get(), LIBRAD_RADIUS_ATTR_USER_NAME, user.data(),
                                               user.size()));
        return msg;
    }
    // The answer to a signed Access-Request, with its signature checked; null without one.
    Message ask(const Message& request, const std::string& secret = kSecret) {
        ByteString bytes = ostrel::testing::bytesOf(request.get());
        const ByteString authenticator = ostrel::testing::authenticatorOf(request.get());
        const ByteString digest = ostrel::testing::hmacOf(bytes, secret, authenticator);
        std::copy(digest.begin(), digest.end(),
                  bytes.begin() +
                      static_cast<std::ptrdiff_t>(ostrel::testing::messageAuthenticatorAt(bytes)));
        return checked(responder_.answerAccess(datagramOf(bytes)), authenticator);
    }
    static Message checked(const std::string& answer, const ByteString& authenticator) {
        const ByteString bytes(answer.begin(), answer.end());
        if (!bytes.empty()) {
            EXPECT_EQ(bytes, ostrel::testing::sign(bytes, kSecret, authenticator));
        }
        return ostrel::testing::parse(bytes);
    }
    static int codeOf(const Message& answer) {
        return answer ? librad_radius_msg_get_code(answer.get()) : 0;
    }
    Message withEap(const std::string& user, const std::string& packet, const std::string& state) {
        Message msg = accessRequest(user);
        EXPECT_TRUE(
            librad_radius_msg_add_eap(msg.get(), ostrel::testing::bytesOf(packet), packet.size()));
        if (!state.empty()) {
            EXPECT_TRUE(librad_radius_msg_add_attr(msg.get(), LIBRAD_RADIUS_ATTR_STATE,
                                                   state.data(), state.size()));
        }
        return msg;
    }
    Message identity(const std::string& user) {
        const std::string packet =
            std::string{'\2', '\5', '\0', static_cast<char>(5 + user.size()), '\1'} + user;
        return ask(withEap(user, packet, ""));
    }
    // What comes of `user` answering that challenge with `password`.
    int answerChallenge(const Message& challenge, const std::string& user,
                        const std::string& password) {
        const std::string eap = attribute(challenge.get(), LIBRAD_RADIUS_ATTR_EAP_MESSAGE);
        EXPECT_EQ(eap.substr(0, 6), std::string("\1\6\0\x16\4\x10", 6));
        const std::string hashed = eap[1] + password + eap.substr(6);
        std::string digest(16, '\0');
        EVP_Digest(hashed.data(), hashed.size(), reinterpret_cast<unsigned char*>(digest.data()),
                   nullptr, EVP_md5(), nullptr);
        const std::string packet = std::string("\2\6\0\x16\4\x10", 6) + digest;
        return codeOf(
            ask(withEap(user, packet, attribute(challenge.get(), LIBRAD_RADIUS_ATTR_STATE))));
    }
    std::string lastEvent() {
        const std::vector<Event> events = log_.since();
        return events.empty() ? "" : events.back().what;
    }

    EventLog log_;
    RadiusResponder responder_{book(), log_};
};

TEST_F(RadiusResponderTest, ChallengesAUserAndChecksTheDigest) {
    const Message challenge = identity("anna");
    ASSERT_EQ(codeOf(challenge), LIBRAD_RADIUS_CODE_ACCESS_CHALLENGE);
    EXPECT_EQ(lastEvent(), "challenge");
    EXPECT_EQ(answerChallenge(challenge, "anna", "wrong"), LIBRAD_RADIUS_CODE_ACCESS_REJECT);
    EXPECT_EQ(answerChallenge(challenge, "bert", "other"), LIBRAD_RADIUS_CODE_ACCESS_REJECT);
    EXPECT_EQ(lastEvent(), "reject");
    EXPECT_EQ(answerChallenge(challenge, "anna", "right"), LIBRAD_RADIUS_CODE_ACCESS_ACCEPT);
    EXPECT_EQ(lastEvent(), "accept");
    EXPECT_EQ(answerChallenge(identity("nobody"), "nobody", ""), LIBRAD_RADIUS_CODE_ACCESS_REJECT);
}

TEST_F(RadiusResponderTest, AnswersForAStationWhatTheBookSays) {
    struct Case {
        const char* name;
        const char* password;
        int code;
        const char* known;  // last byte of attribute 31
        const char* url;
    };
    for (const Case& one :
         {Case{"02-00-00-00-00-01", "PLACEHOLDR", LIBRAD_RADIUS_CODE_ACCESS_ACCEPT, "\1", ""},
          {"02-00-00-00-00-02", "PLACEHOLDR", LIBRAD_RADIUS_CODE_ACCESS_ACCEPT, "\0", "http://p/"},
          {"02-00-00-00-00-03", "PLACEHOLDR", LIBRAD_RADIUS_CODE_ACCESS_REJECT, nullptr, ""},
          {"02-00-00-00-00-01", "else", LIBRAD_RADIUS_CODE_ACCESS_REJECT, nullptr, ""},
          {"anna", "right", LIBRAD_RADIUS_CODE_ACCESS_ACCEPT, nullptr, ""}}) {
        const Message request = accessRequest(one.name);
        ASSERT_TRUE(librad_radius_msg_add_attr_user_password(
            request.get(), ostrel::testing::bytesOf(std::string(one.password)),
            std::string(one.password).size(), ostrel::testing::bytesOf(kSecret), kSecret.size()));
        const Message answer = ask(request);
        ASSERT_EQ(codeOf(answer), one.code) << one.name;
        unsigned int length = 0;
        const unsigned char* known = librad_radius_msg_get_ostrel_attr(answer.get(), 31, &length);
        ASSERT_EQ(known != nullptr, one.known != nullptr) << one.name;
        if (known != nullptr) {
            ASSERT_EQ(length, 4U);
            EXPECT_EQ(known[3], static_cast<unsigned char>(one.known[0]));
        }
        const unsigned char* url = librad_radius_msg_get_ostrel_attr(answer.get(), 33, &length);
        EXPECT_EQ(url == nullptr ? "" : std::string(url, url + length), one.url);
    }
}

TEST_F(RadiusResponderTest, KeepsSilentToWhatIsNotSignedWithTheSecret) {
    EXPECT_FALSE(ask(accessRequest("anna"), "another"));
    EXPECT_EQ(lastEvent(), "dropped");
    EXPECT_EQ(responder_.answerAccess("no message"), "");
    using ostrel::testing::makePacket;
    using ostrel::testing::sign;
    EXPECT_EQ(responder_.answerAccess(datagramOf(makePacket(1, 5, "0106 616e6e61"))), "");
    EXPECT_EQ(responder_.answerAccounting(datagramOf(sign(makePacket(4, 5, ""), "another"))), "");
    EXPECT_EQ(responder_.answerAccounting(datagramOf(sign(makePacket(40, 5, ""), kSecret))), "");
    EXPECT_NE(responder_.answerAccounting(datagramOf(sign(makePacket(4, 5, ""), kSecret))), "");
}

TEST_F(RadiusResponderTest, TellsTheFiguresOfASession) {
    const ByteString stop = ostrel::testing::sign(
        ostrel::testing::makePacket(4, 9,
                                    "2806 00000002"                            // stop
                                    "0106 616e6e61"                            // User-Name
                                    "1f13 30322d30302d30302d30302d30302d3041"  // Calling-Station-Id
                                    "570b 776c616e302d766131"                  // NAS-Port-Id
                                    "2c04 5331"                                // Acct-Session-Id
                                    "2e06 0000000c 2a06 00000005 3406 00000001"
                                    "2b06 00000007 3106 0000000a"),
        kSecret);
    const Message answer = checked(responder_.answerAccounting(datagramOf(stop)),
                                   {stop.begin() + 4, stop.begin() + 20});
    EXPECT_EQ(codeOf(answer), LIBRAD_RADIUS_CODE_ACCOUNTING_RESPONSE);
    const Event event = log_.since().at(0);
    EXPECT_EQ(event.what, "stop");
    EXPECT_EQ(event.station, (StationId{"wlan0-va1", "02:00:00:00:00:0a"}));
    EXPECT_EQ(event.detail, "anna, session S1, 12 s, 4294967301 bytes sent, 7 received, cause 10");
}

TEST(RadiusServerTest, AnswersOnThePortsThatItNames) {
    EventLog log;
    const RadiusServer server(book(), log);
    const ostrel::Fd socket = bindLoopback(0);
    sendTo(socket,
           datagramOf(ostrel::testing::sign(ostrel::testing::makePacket(4, 9, ""), kSecret)),
           loopbackAddress(server.address().acctPort));
    pollfd polled{socket.get(), POLLIN, 0};
    ASSERT_EQ(poll(&polled, 1, 5000), 1);
    std::string answer;
    sockaddr_in sender{};
    ASSERT_TRUE(receiveFrom(socket, answer, sender));
    EXPECT_EQ(answer.substr(0, 2), "\5\x09");
    EXPECT_EQ(ntohs(sender.sin_port), server.address().acctPort);
    EXPECT_NE(server.address().authPort, server.address().acctPort);
}

TEST(RadiusServerTest, PointsTheConfigurationAtAServer) {
    const RadiusAddress server = parseRadiusAddress("127.0.0.1:1812", "s");
    json config{{"interface",
                 {{{"name", "a"}, {"vap", {{"ssid", "A"}}}},
                  {{"name", "b"}, {"vap", {{"radius", {{"domain", "d"}, {"auth-port", 1}}}}}}}}};
    useRadiusServer(config, server);
    EXPECT_FALSE(config["interface"][0]["vap"].contains("radius"));
    EXPECT_EQ(config["interface"][1]["vap"]["radius"], json({{"domain", "d"},
                                                             {"auth-address", "127.0.0.1"},
                                                             {"auth-port", 1812},
                                                             {"auth-password", "s"},
                                                             {"acct-address", "127.0.0.1"},
                                                             {"acct-port", 1813},
                                                             {"acct-password", "s"}}));
    for (const char* text : {"127.0.0.1", "127.0.0.1:", "127.0.0.1:0", "127.0.0.1:65535",
                             "127.0.0.1:18x", "no host:1812"}) {
        EXPECT_THROW(parseRadiusAddress(text, "s"), InputError) << text;
    }
}

TEST(RadiusBookTest, NamesThePlaceOfAMistake) {
    for (const auto& [text, error] :
         {std::pair(R"({"users": {}})", "secret"),
          {R"({"secret": "s", "users": {"anna": 5}})", "r.json: "},
          {R"({"secret": "s", "stations": {"02:00": {"known": true}}})", "no MAC address"},
          {R"({"secret": "s", "stations": {"02:00:00:00:00:01": {}}})", "known"}}) {
        try {
            RadiusBook::parse(json::parse(text), "r.json");
            ADD_FAILURE() << text;
        } catch (const InputError& thrown) {
            EXPECT_THAT(thrown.what(), HasSubstr(error));
        }
    }
}

// An access point that ends anna's session and no other.
int disconnectAnna(void*, librad_radius_das_attrs* attrs) {
    return std::string(attrs->userName, attrs->userName + attrs->userNameLength) == "anna" &&
                   attrs->mac[5] == 1
               ? 0
               : 3;
}
unsigned char* secretOf(void* context, unsigned int* length, librad_radius_das_attrs*) {
    auto* const secret = static_cast<librad_secret*>(context);
    *length = secret->size();
    return secret->data();
}

TEST(DisconnectRequestTest, TellsWhatTheAccessPointAnswered) {
    librad_secret secret(kSecret);
    librad_radius_das* const das =
        librad_radius_das_init2(0, 0, 1, &secret, {disconnectAnna, secretOf}, "127.0.0.1");
    ASSERT_NE(das, nullptr);
    std::thread loop([] { librad_eloop_run(); });
    const std::uint16_t port = librad_radius_das_get_port(das);
    EXPECT_EQ(requestDisconnect({kKnownMac, "anna", ""}, kSecret, port), DisconnectAnswer::ack);
    EXPECT_EQ(requestDisconnect({kKnownMac, "bert", ""}, kSecret, port), DisconnectAnswer::nak);
    EXPECT_EQ(requestDisconnect({kKnownMac, "anna", ""}, "another", port, 1),
              DisconnectAnswer::none);
    librad_eloop_stop();
    loop.join();
    librad_radius_das_deinit(das);
}

}  // namespace
}  // namespace apsim
