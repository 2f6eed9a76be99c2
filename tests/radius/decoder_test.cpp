// Our packets as an independent decoder reads them.

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "client/client_statistic_info.h"
#include "support/runtime_directory.h"
#include "worker_fixture.h"

namespace vesta {
namespace {

using ostrel::testing::Packet;

std::string outputOf(const std::string& command) {
    std::string text;
    FILE* const pipe = popen(command.c_str(), "r");
    char buffer[4096];
    while (const std::size_t length = std::fread(buffer, 1, sizeof buffer, pipe)) {
        text.append(buffer, length);
    }
    pclose(pipe);
    return text;
}

class DecoderTest : public testing::WorkerTest {
protected:
    // The request that has just been sent, kept for the decoder.
    Packet keep() {
        Packet packet = request();
        hexDump_ << "000000";
        for (const std::uint8_t byte : packet.bytes) {
            hexDump_ << " " << ostrel::testing::toHex(&byte, 1);
        }
        hexDump_ << "\n";
        ++count_;
        return packet;
    }
    void keepAccounting() {
        for (Packet packet = keep();; packet = keep()) {
            answerAccounting(packet);
            constexpr std::uint32_t kAccountingOn = 7;
            if (ostrel::testing::number(packet.msg.get(), LIBRAD_RADIUS_ATTR_ACCT_STATUS_TYPE) !=
                kAccountingOn) {
                return;
            }
        }
    }

    std::ostringstream hexDump_;
    unsigned count_ = 0;
    testing::RuntimeDirectory directory_;
};

TEST_F(DecoderTest, FindsNothingUnknownOrMalformed) {
    if (std::system("command -v tshark >/dev/null 2>&1") != 0) {
        GTEST_SKIP() << "tshark is not installed";
    }
    const std::string sendId = R"(, "auth-acct-id-send": true)";
    build(AUTH_MODE_PORTAL_MAC, RADIUS_WORKMODE_AUTHENTICATION, sendId);
    worker_->sendAuthPacket(newClient("0A-1B-2C-3D-4E-5F"), "0A-1B-2C-3D-4E-5F");
    keep();

    build(AUTH_MODE_RADIUS, RADIUS_WORKMODE_BOTH,
          sendId + R"(, "acct-periodic": true, "acct-interval": 1)");
    const auto client = newClient();
    connect(*client);
    worker_->sendAuthPacket(client, "bob");
    answer(keep(), LIBRAD_RADIUS_CODE_ACCESS_CHALLENGE, "1804 cafe 4f08 0109 0006 19 20");
    answer(keep(), LIBRAD_RADIUS_CODE_ACCESS_CHALLENGE,
           "1804 cafe 4f18 0107 0016 0410 000102030405060708090a0b0c0d0e0f");
    answer(keep(), LIBRAD_RADIUS_CODE_ACCESS_ACCEPT);

    client->getRadiusSta()->classes = {"gold"};
    ClientStatisticInfo now("", "", 5000000000ULL, 7, 8, 9, 0, 0, 0, 0, 0, 10, 0);
    worker_->informClientAuthenticated(client, now);
    keepAccounting();
    clock_.advanceSeconds(1);
    worker_->informUpdateClient(client, now);
    keepAccounting();
    worker_->informClientRemoved(client, now);
    keepAccounting();

    const std::string path = directory_.path() + "/capture";
    std::ofstream(path + ".txt") << hexDump_.str();
    const std::string json =
        outputOf("text2pcap -q -u 50000,1812 " + path + ".txt " + path +
                 " && HOME=" + directory_.path() + " tshark -r " + path +
                 " -o radius.shared_secret:s3cret -o radius.validate_authenticator:TRUE -Y radius"
                 " -T json --no-duplicate-keys 2>/dev/null");
    unsigned decoded = 0;
    for (std::size_t at = json.find("\"radius.code\""); at != std::string::npos;
         at = json.find("\"radius.code\"", at + 1)) {
        ++decoded;
    }
    EXPECT_EQ(decoded, count_);
    // The last one is an expert's remark of severity "error"; that EAP-MD5 is weak is a warning.
    for (const char* const complaint : {"_ws.malformed", "_ws.short", "Unknown", "invalid\": \"1\"",
                                        "_ws.expert.severity\": \"8388608\""}) {
        EXPECT_EQ(json.find(complaint), std::string::npos) << complaint;
    }
    for (const char* const sign :
         {"\"radius.User_Name\": \"bob\"", "\"radius.User_Password\"", "\"eap.md5.value\"",
          "\"radius.Acct_Input_Gigawords\": \"1\"", "\"radius.Class\": \"67:6f:6c:64\""}) {
        EXPECT_NE(json.find(sign), std::string::npos) << sign;
    }
}

}  // namespace
}  // namespace vesta
