#include "support.h"

namespace ostrel::testing {
namespace {

constexpr std::int64_t kNow = 4000000000;  // seconds; far behind the day of the build

const char* const kMac = "1f13 41412d42422d43432d30302d31312d3232";  // AA-BB-CC-00-11-22
const char* const kName = "0105 626f62";                             // bob

class Das : public ::testing::Test {
protected:
    Das() {
        clock_.wall = kNow * kSecond;
        open(0);
    }
    ~Das() override { librad_radius_das_deinit(das_); }

    void open(int requireEventTimestamp) {
        librad_radius_das_deinit(das_);
        librad_radius_das_config config;
        config.disconnect = &Das::onDisconnect;
        config.getSharedKey = &Das::onSharedKey;
        das_ = librad_radius_das_init2(0, 0, requireEventTimestamp, this, config, "127.0.0.1");
        ASSERT_NE(das_, nullptr);
        librad_radius_das_set_nas(das_, fromHex("c0a80101").data(), "nas");
    }

    static int onDisconnect(void* context, librad_radius_das_attrs*) {
        auto* self = static_cast<Das*>(context);
        ++self->disconnects_;
        return self->result_;
    }
    static unsigned char* onSharedKey(void* context, unsigned int* length,
                                      librad_radius_das_attrs*) {
        auto& secret = static_cast<Das*>(context)->secret_;
        *length = static_cast<unsigned int>(secret.size());
        return secret.empty() ? nullptr : secret.data();
    }

    static ByteString disconnect(const std::string& attributes, std::uint8_t id = 1) {
        return sign(makePacket(40, id, attributes), kSecret);
    }

    std::optional<Packet> ask(const ByteString& bytes) {
        sockaddr_in to{};
        to.sin_family = AF_INET;
        to.sin_port = htons(librad_radius_das_get_port(das_));
        to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        peer_.deliver(bytes, to);
        return peer_.receive();
    }

    static std::string stamp(std::int64_t seconds) {
        const std::uint8_t bytes[4] = {
            static_cast<std::uint8_t>(seconds >> 24), static_cast<std::uint8_t>(seconds >> 16),
            static_cast<std::uint8_t>(seconds >> 8), static_cast<std::uint8_t>(seconds)};
        return "3706" + toHex(bytes, 4);
    }

    LoopClock clock_;
    Peer peer_;
    librad_radius_das* das_ = nullptr;
    librad_secret secret_{kSecret};
    int result_ = 0;
    int disconnects_ = 0;
};

TEST_F(Das, AnswersByTheRules) {
    const std::string mac = kMac;
    const std::string session = "2c05 313233";
    const struct {
        const char* what;
        std::string attributes;
        std::uint8_t answer;      // code; 0: dropped
        std::uint32_t cause = 0;  // Error-Cause; 0: none
        bool disconnects = false;
        std::uint8_t code = 40;
        int result = 0;
    } cases[] = {{"a session by its address", mac, 41, 0, true},
                 {"by its name", kName, 41, 0, true},
                 {"by its identifier", session, 41, 0, true},
                 {"unknown to the owner", mac, 42, 503, true, 40, 3},
                 {"named by nothing", "", 42, 402},
                 {"named by an address that is none", std::string(kName) + "1f04 7879", 42, 407},
                 {"for this NAS", mac + "0406c0a80101 2005 6e6173", 41, 0, true},
                 {"for another address", mac + "0406c0a80102", 42, 403},
                 {"for another identifier", mac + "2005 6e6174", 42, 403},
                 {"for an IPv6 NAS", mac + "5f12" + std::string(32, '1'), 42, 403},
                 {"a change of authorisation", mac, 45, 406, false, 43},
                 {"signed with a Message-Authenticator too", mac + kEmptyMac, 41, 0, true},
                 {"now", mac + stamp(kNow), 41, 0, true},
                 {"300 s ago", mac + stamp(kNow - 300), 41, 0, true},
                 {"301 s ago", mac + stamp(kNow - 301), 0},
                 {"301 s ahead", mac + stamp(kNow + 301), 0},
                 {"no request", mac, 0, 0, false, 41},
                 {"an Accounting-Request", mac, 0, 0, false, 4}};
    std::uint8_t id = 0;
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        result_ = row.result;
        disconnects_ = 0;
        const ByteString bytes = sign(makePacket(row.code, ++id, row.attributes), kSecret);
        const auto answer = ask(bytes);
        EXPECT_EQ(disconnects_, row.disconnects ? 1 : 0);
        ASSERT_EQ(answer.has_value(), row.answer != 0);
        if (!answer) {
            continue;
        }
        EXPECT_EQ(int{answer->bytes[0]}, int{row.answer});
        EXPECT_EQ(answer->id(), id);
        const ByteString asked(bytes.begin() + 4, bytes.begin() + 20);
        EXPECT_EQ(answer->authenticator(), md5Of(answer->bytes, kSecret, asked));
        EXPECT_EQ(messageAuthenticatorAt(answer->bytes) != 0, messageAuthenticatorAt(bytes) != 0);
        if (row.cause != 0) {
            EXPECT_EQ(number(answer->msg.get(), LIBRAD_RADIUS_ATTR_ERROR_CAUSE), row.cause);
        } else {
            EXPECT_EQ(text(answer->msg.get(), LIBRAD_RADIUS_ATTR_ERROR_CAUSE), "");
        }
    }
}

TEST_F(Das, DropsWhatIsNotSignedWithTheSecret) {
    const ByteString good = disconnect(kMac + kEmptyMac);
    EXPECT_FALSE(ask(withWrongMac(good, ByteString(16))));
    EXPECT_FALSE(ask(sign(makePacket(40, 1, kMac), "another secret")));
    EXPECT_FALSE(ask(makePacket(40, 1, kMac)));
    EXPECT_FALSE(ask(fromHex("2801")));
    secret_ = librad_secret();
    EXPECT_FALSE(ask(sign(makePacket(40, 1, kMac), "")));
    EXPECT_EQ(disconnects_, 0);
    EXPECT_EQ(librad_radius_das_get_counters(das_).dropped, 4U);
    EXPECT_EQ(librad_radius_das_get_counters(das_).malformed, 1U);
    secret_ = librad_secret(kSecret);
    EXPECT_TRUE(ask(good));
}

TEST_F(Das, AnswersARepeatedRequestAgainWithoutEffect) {
    const ByteString bytes = disconnect(kName);
    const auto first = ask(bytes);
    ASSERT_TRUE(first);
    secret_ = librad_secret();  // the session that led to the secret is gone
    clock_.monotonic += 300 * kSecond;
    const auto second = ask(bytes);
    ASSERT_TRUE(second);
    EXPECT_EQ(second->bytes, first->bytes);
    EXPECT_EQ(disconnects_, 1);
    EXPECT_EQ(librad_radius_das_get_counters(das_).duplicates, 1U);

    secret_ = librad_secret(kSecret);
    ASSERT_TRUE(ask(disconnect(kName, 2)));  // another identifier, another request
    EXPECT_EQ(disconnects_, 2);
    clock_.monotonic += kSecond;
    ASSERT_TRUE(ask(bytes));  // forgotten by now
    EXPECT_EQ(disconnects_, 3);
}

TEST_F(Das, SendsProxyStateBackInOrder) {
    const auto answer = ask(disconnect(std::string(kName) + "2103 61 2c03 31 2104 6263"));
    ASSERT_TRUE(answer);
    EXPECT_EQ(toHex(answer->bytes.data() + 20, answer->bytes.size() - 20), "21036121046263");
}

TEST_F(Das, MayInsistOnATimestampButTrustsNoClockThatHasNotBeenSet) {
    open(1);
    EXPECT_FALSE(ask(disconnect(kName)));
    EXPECT_TRUE(ask(disconnect(kName + stamp(kNow))));
    clock_.wall = 86400 * kSecond;  // 1970
    EXPECT_TRUE(ask(disconnect(kName + stamp(kNow + 1000))));
}

TEST_F(Das, SaysWhenTheAddressIsTaken) {
    librad_radius_das_config config;
    config.disconnect = &Das::onDisconnect;
    config.getSharedKey = &Das::onSharedKey;
    const std::uint16_t taken = librad_radius_das_get_port(das_);
    EXPECT_EQ(librad_radius_das_init2(taken, 0, 0, this, config, "127.0.0.1"), nullptr);
    EXPECT_EQ(librad_radius_das_init2(0, 0, 0, this, config, "nowhere"), nullptr);
}

}  // namespace
}  // namespace ostrel::testing
