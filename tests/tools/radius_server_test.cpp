#include "apsim/radius_server.h"

#include <gtest/gtest.h>

#include <thread>

#include "apsim/input.h"
#include "platform/librad/support.h"

namespace apsim {
namespace {

using namespace ostrel::testing;
using nlohmann::json;

constexpr int kAccept = LIBRAD_RADIUS_CODE_ACCESS_ACCEPT;
constexpr int kReject = LIBRAD_RADIUS_CODE_ACCESS_REJECT;

std::string datagramOf(const ByteString& bytes) {
    return {bytes.begin(), bytes.end()};
}

int codeOf(const Message& answer) {
    return answer ? librad_radius_msg_get_code(answer.get()) : 0;
}

Message requestOf(const std::string& user, const std::string& eap = "",
                  const std::string& state = "") {
    Message msg = accessRequest(7);
    EXPECT_TRUE(librad_radius_msg_add_attr(msg.get(), LIBRAD_RADIUS_ATTR_USER_NAME, user.data(),
                                           user.size()));
    if (!eap.empty()) {
        EXPECT_TRUE(librad_radius_msg_add_eap(msg.get(), bytesOf(eap), eap.size()));
    }
    if (!state.empty()) {
        EXPECT_TRUE(librad_radius_msg_add_attr(msg.get(), LIBRAD_RADIUS_ATTR_STATE, state.data(),
                                               state.size()));
    }
    return msg;
}

class RadiusResponderTest : public ::testing::Test {
protected:
    // The answer to the request, which is signed before; null without one.
    Message ask(const Message& request, const std::string& secret = kSecret) {
        ByteString bytes = bytesOf(request.get());
        const ByteString digest = hmacOf(bytes, secret, authenticatorOf(request.get()));
        std::copy(digest.begin(), digest.end(),
                  bytes.begin() + static_cast<std::ptrdiff_t>(messageAuthenticatorAt(bytes)));
        return checked(responder_.answerAccess(datagramOf(bytes)), authenticatorOf(request.get()));
    }
    // The message in `answer`, with its signature checked.
    static Message checked(const std::string& answer, const ByteString& authenticator) {
        const ByteString bytes(answer.begin(), answer.end());
        if (!bytes.empty()) {
            EXPECT_EQ(bytes, sign(bytes, kSecret, authenticator));
        }
        return parse(bytes);
    }
    Message identity(const std::string& user) {
        const auto length = static_cast<char>(5 + user.size());
        return ask(requestOf(user, std::string{'\2', '\5', '\0', length, '\1'} + user));
    }
    // What comes of `user` answering that challenge with `password`.
    int answerChallenge(const Message& challenge, const std::string& user,
                        const std::string& password) {
        const std::string eap = text(challenge.get(), LIBRAD_RADIUS_ATTR_EAP_MESSAGE);
        EXPECT_EQ(eap.substr(0, 6), std::string("\1\6\0\x16\4\x10", 6));
        const std::string value = eap.substr(6);
        std::string digest(16, '\0');
        EXPECT_TRUE(librad_chap_md5(6, bytesOf(password), password.size(), bytesOf(value),
                                    value.size(), reinterpret_cast<unsigned char*>(digest.data())));
        return codeOf(ask(requestOf(user, std::string("\2\6\0\x16\4\x10", 6) + digest,
                                    text(challenge.get(), LIBRAD_RADIUS_ATTR_STATE))));
    }

    EventLog log_;
    RadiusResponder responder_{RadiusBook::parse(json::parse(R"({"secret": "testing123",
            "users": {"anna": "right", "bert": "other"},
            "stations": {"02:00:00:00:00:01": {"known": true},
                         "02:00:00:00:00:02": {"known": false, "redirect-url": "http://p/"}}})"),
                                                 "r.json"),
                               log_};
};

TEST_F(RadiusResponderTest, ChallengesAUserAndChecksTheDigest) {
    const Message challenge = identity("anna");
    ASSERT_EQ(codeOf(challenge), LIBRAD_RADIUS_CODE_ACCESS_CHALLENGE);
    EXPECT_EQ(answerChallenge(challenge, "anna", "wrong"), kReject);
    EXPECT_EQ(answerChallenge(challenge, "bert", "other"), kReject);
    EXPECT_EQ(log_.since().back().what, "reject");
    EXPECT_EQ(answerChallenge(challenge, "anna", "right"), kAccept);
    EXPECT_EQ(log_.since().back().what, "accept");
    EXPECT_EQ(answerChallenge(identity("nobody"), "nobody", ""), kReject);
}

TEST_F(RadiusResponderTest, AnswersForAStationWhatTheBookSays) {
    const struct {
        const char* name;
        std::string password;
        int code;
        const char* known;  // in hex
        const char* url;
    } cases[] = {{"02-00-00-00-00-01", "PLACEHOLDR", kAccept, "00000001", ""},
                 {"02-00-00-00-00-02", "PLACEHOLDR", kAccept, "00000000", "http://p/"},
                 {"02-00-00-00-00-03", "PLACEHOLDR", kReject, "", ""},
                 {"02-00-00-00-00-01", "else", kReject, "", ""},
                 {"anna", "right", kAccept, "", ""}};
    for (const auto& one : cases) {
        SCOPED_TRACE(one.name + (" " + one.password));
        const Message request = requestOf(one.name);
        ASSERT_TRUE(librad_radius_msg_add_attr_user_password(request.get(), bytesOf(one.password),
                                                             one.password.size(), bytesOf(kSecret),
                                                             kSecret.size()));
        const Message answer = ask(request);
        ASSERT_EQ(codeOf(answer), one.code);
        unsigned int length = 0;
        const unsigned char* known = librad_radius_msg_get_ostrel_attr(answer.get(), 31, &length);
        EXPECT_EQ(toHex(known, length), one.known);
        const unsigned char* url = librad_radius_msg_get_ostrel_attr(answer.get(), 33, &length);
        EXPECT_EQ(std::string(url, url + length), one.url);
    }
}

TEST_F(RadiusResponderTest, KeepsSilentToWhatIsNotSignedWithTheSecret) {
    EXPECT_FALSE(ask(requestOf("anna"), "another"));
    EXPECT_EQ(log_.since().back().what, "dropped");
    EXPECT_EQ(responder_.answerAccess("no message"), "");
    EXPECT_EQ(responder_.answerAccess(datagramOf(makePacket(1, 5, "0106 616e6e61"))), "");
    EXPECT_EQ(responder_.answerAccounting(datagramOf(sign(makePacket(4, 5, ""), "another"))), "");
    EXPECT_EQ(responder_.answerAccounting(datagramOf(sign(makePacket(40, 5, ""), kSecret))), "");
    EXPECT_NE(responder_.answerAccounting(datagramOf(sign(makePacket(4, 5, ""), kSecret))), "");
}

TEST_F(RadiusResponderTest, TellsTheFiguresOfASession) {
    const ByteString stop = sign(makePacket(4, 9,
                                            "2806 00000002"  // stop
                                            "0106 616e6e61"  // User-Name
                                            "1f13 30322d30302d30302d30302d30302d3041"
                                            "570b 776c616e302d766131"  // NAS-Port-Id
                                            "2c04 5331"                // Acct-Session-Id
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

TEST(RadiusServerTest, PointsTheConfigurationAtAServer) {
    json config = json::parse(R"({"interface": [
        {"name": "a", "vap": {"ssid": "A"}},
        {"name": "b", "vap": {"radius": {"domain": "d", "auth-port": 1}}}]})");
    useRadiusServer(config, parseRadiusAddress("127.0.0.1:1812", "s"));
    EXPECT_EQ(config, json::parse(R"({"interface": [
        {"name": "a", "vap": {"ssid": "A"}},
        {"name": "b", "vap": {"radius": {"domain": "d",
            "auth-address": "127.0.0.1", "auth-port": 1812, "auth-password": "s",
            "acct-address": "127.0.0.1", "acct-port": 1813, "acct-password": "s"}}}]})"));
    for (const char* text : {"127.0.0.1", "127.0.0.1:", "127.0.0.1:0", "127.0.0.1:65535",
                             "127.0.0.1:18x", "no host:1812"}) {
        EXPECT_THROW(parseRadiusAddress(text, "s"), InputError) << text;
    }
}

// An access point that ends anna's session and no other.
int disconnectAnna(void*, librad_radius_das_attrs* attrs) {
    return toHex(attrs->mac, 6) == "020000000001" &&
                   toHex(attrs->userName, attrs->userNameLength) == "616e6e61"
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
    const char* const mac = "02:00:00:00:00:01";
    EXPECT_EQ(requestDisconnect({mac, "anna", ""}, kSecret, port), DisconnectAnswer::ack);
    EXPECT_EQ(requestDisconnect({mac, "bert", ""}, kSecret, port), DisconnectAnswer::nak);
    EXPECT_EQ(requestDisconnect({mac, "anna", ""}, "another", port, 1), DisconnectAnswer::none);
    librad_eloop_stop();
    loop.join();
    librad_radius_das_deinit(das);
}

}  // namespace
}  // namespace apsim
