#include "support.h"

namespace ostrel::testing {
namespace {

constexpr std::int64_t kNow = 4000000000;  // seconds; far behind the day of the build

const std::string kMac = "1f13 41412d42422d43432d30302d31312d3232";  // AA-BB-CC-00-11-22
const std::string kName = "0105 626f62";                             // bob

// Event-Timestamp
std::string stamp(std::int64_t seconds) {
    char text[13];
    std::snprintf(text, sizeof text, "3706%08x", static_cast<unsigned int>(seconds));
    return text;
}

class Das : public ::testing::Test {
protected:
    Das() {
        clock_.wall = kNow * kSecond;
        open(0);
    }
    ~Das() override { librad_radius_das_deinit(das_); }

    void open(int requireEventTimestamp, const char* address = "127.0.0.1",
              std::uint16_t port = 0) {
        librad_radius_das_config config;
        config.disconnect = [](void* self, librad_radius_das_attrs*) {
            ++static_cast<Das*>(self)->disconnects_;
            return static_cast<Das*>(self)->result_;
        };
        config.getSharedKey = [](void* self, unsigned int* length, librad_radius_das_attrs*) {
            *length = static_cast<Das*>(self)->secret_.size();
            return static_cast<Das*>(self)->secret_.data();
        };
        das_ = librad_radius_das_init2(port, 0, requireEventTimestamp, this, config, address);
        if (das_ != nullptr) {
            librad_radius_das_set_nas(das_, fromHex("c0a80101").data(), "nas");
        }
    }
    static ByteString request(const std::string& attributes, std::uint8_t id = 1,
                              std::uint8_t code = 40) {
        return sign(makePacket(code, id, attributes));
    }
    std::string ask(const ByteString& bytes) {
        return askDas(peer_, librad_radius_das_get_port(das_), bytes);
    }

    LoopClock clock_;
    Peer peer_;
    librad_radius_das* das_ = nullptr;
    librad_secret secret_{kSecret};
    int result_ = 0;
    int disconnects_ = 0;
};

TEST_F(Das, AnswersByTheRules) {
    const struct {
        const char* what;
        std::string attributes;
        std::string answer;  // code and attributes, "" for none
        int disconnects = 0;
        std::uint8_t code = 40;
        int result = 0;
    } cases[] = {{"a session by its address", kMac, "41 ", 1},
                 {"by its name", kName, "41 ", 1},
                 {"by its identifier", "2c05 313233", "41 ", 1},
                 {"unknown to the owner", kMac, "42 6506000001f7", 1, 40, 3},  // 503
                 {"named by nothing", "", "42 650600000192"},                  // 402
                 {"named by an address that is none", kName + "1f04 7879", "42 650600000197"},
                 {"for this NAS", kMac + "0406c0a80101 2005 6e6173", "41 ", 1},
                 {"for another address", kMac + "0406c0a80102", "42 650600000193"},  // 403
                 {"for another identifier", kMac + "2005 6e6174", "42 650600000193"},
                 {"for an IPv6 NAS", kMac + "5f12" + std::string(32, '1'), "42 650600000193"},
                 {"a change of authorisation", kMac, "45 650600000196", 0, 43},  // 406
                 {"with a Message-Authenticator", kMac + kEmptyMac, "41 " + kEmptyMac, 1},
                 {"Proxy-States, to be sent back in order", kName + "2103 61 2c03 31 2104 6263",
                  "41 21036121046263", 1},
                 {"now", kMac + stamp(kNow), "41 ", 1},
                 {"300 s ago", kMac + stamp(kNow - 300), "41 ", 1},
                 {"301 s ago", kMac + stamp(kNow - 301), ""},
                 {"301 s ahead", kMac + stamp(kNow + 301), ""},
                 {"no request", kMac, "", 0, 41},
                 {"an Accounting-Request", kMac, "", 0, 4}};
    std::uint8_t id = 0;
    for (const auto& row : cases) {
        result_ = row.result;
        disconnects_ = 0;
        EXPECT_EQ(ask(request(row.attributes, ++id, row.code)), row.answer) << row.what;
        EXPECT_EQ(disconnects_, row.disconnects) << row.what;
    }
}

TEST_F(Das, DropsWhatIsNotSignedWithTheSecret) {
    const ByteString bare = makePacket(40, 1, kMac);
    for (const ByteString& bad :
         {sign(makePacket(40, 1, kMac + kEmptyMac), kSecret, ByteString(16), Mac::wrong),
          sign(bare, "another secret"), bare, fromHex("2801")}) {
        EXPECT_EQ(ask(bad), "") << toHex(bad.data(), bad.size());
    }
    secret_ = librad_secret();
    EXPECT_EQ(ask(sign(bare, "")), "");
    EXPECT_EQ(disconnects_, 0);
    EXPECT_EQ(librad_radius_das_get_counters(das_).dropped, 4U);
    EXPECT_EQ(librad_radius_das_get_counters(das_).malformed, 1U);
}

TEST_F(Das, AnswersARepeatedRequestAgainWithoutEffect) {
    const ByteString bytes = request(kName);
    EXPECT_EQ(ask(bytes), "41 ");
    secret_ = librad_secret();  // the session that led to the secret is gone
    clock_.monotonic += 300 * kSecond;
    EXPECT_EQ(ask(bytes), "41 ");
    EXPECT_EQ(disconnects_, 1);
    EXPECT_EQ(librad_radius_das_get_counters(das_).duplicates, 1U);
    secret_ = librad_secret(kSecret);
    EXPECT_EQ(ask(request(kName, 2)), "41 ");  // another identifier, another request
    EXPECT_EQ(disconnects_, 2);
    clock_.monotonic += kSecond;
    EXPECT_EQ(ask(bytes), "41 ");  // forgotten by now
    EXPECT_EQ(disconnects_, 3);
}

TEST_F(Das, MayInsistOnATimestampButTrustsNoClockThatHasNotBeenSet) {
    librad_radius_das_deinit(das_);
    open(1);
    EXPECT_EQ(ask(request(kName)), "");
    EXPECT_EQ(ask(request(kName + stamp(kNow))), "41 ");
    clock_.wall = 86400 * kSecond;  // 1970
    EXPECT_EQ(ask(request(kName + stamp(kNow + 1000))), "41 ");
}

TEST_F(Das, SaysWhenTheAddressIsTaken) {
    librad_radius_das* const first = das_;
    open(0, "127.0.0.1", librad_radius_das_get_port(first));
    EXPECT_EQ(das_, nullptr);
    open(0, "nowhere");
    EXPECT_EQ(das_, nullptr);
    das_ = first;
}

}  // namespace
}  // namespace ostrel::testing
