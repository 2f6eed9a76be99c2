// An instance against a server that others have written.

#include <gmock/gmock.h>

#include "station/command_info.h"
#include "support/freeradius_process.h"
#include "support/radius_instance.h"

namespace vesta {
namespace {

using ::testing::HasSubstr;

const char* const kSecret = "s3cret";
const char* const kIp = "10.1.0.1";
const char* const kKnown = "02:00:00:00:00:01";
const char* const kUnknown = "02:00:00:00:00:02";
const char* const kBarred = "02:00:00:00:00:03";

const char* const kUsers =
    "bob Cleartext-Password := \"hello\"\n"
    "    Class = \"gold\"\n\n"
    "02-00-00-00-00-01 Cleartext-Password := \"PLACEHOLDR\"\n"
    "    Ostrel-Known-Station = 1\n\n"
    "02-00-00-00-00-02 Cleartext-Password := \"PLACEHOLDR\"\n"
    "    Ostrel-Known-Station = 0, Ostrel-Redirect-Url = \"http://welcome.example/\"\n";

class FreeradiusTest : public testing::InstanceTest {
protected:
    void SetUp() override {
        if (!testing::FreeradiusProcess::installed()) {
            GTEST_SKIP() << "freeradius and freeradius-utils are not installed";
        }
        server_ = std::make_unique<testing::FreeradiusProcess>(kSecret, kUsers);
    }
    void build(const std::string& mode) {
        InstanceTest::build(mode, true, server_->authPort(), server_->acctPort());
    }

    // What becomes of a station: "gone" or its access. Waits ten seconds at most.
    std::string becomes(const char* mac, const std::string& access) {
        for (int i = 0;; ++i) {
            const auto client = dump(mac);
            const std::string now = client ? client->getCharValue("access-type") : "gone";
            if (now == access || i == 1000) {
                return now;
            }
            poll(nullptr, 0, 10);
        }
    }
    // The server writes down an accounting record of that kind with these attributes.
    void expectRecord(const std::string& kind, const std::vector<std::string>& attributes) {
        std::string record;
        for (int i = 0; i < 1000 && record.find("\n\n") == std::string::npos; ++i) {
            poll(nullptr, 0, 10);
            record = server_->record(kind);
        }
        for (const std::string& attribute : attributes) {
            EXPECT_THAT(record, HasSubstr("\t" + attribute + "\n"));
        }
    }
    void arrive(const std::string& mac) {
        instance_->addClient(MacAddr(mac), "10.1.0." + mac.substr(mac.size() - 1), 1500);
        report({mac}, 1000);
    }

    std::unique_ptr<testing::FreeradiusProcess> server_;
};

TEST_F(FreeradiusTest, KnowsStationsByTheirAddress) {
    build("portal-mac-auth");
    arrive(kKnown);
    EXPECT_EQ(becomes(kKnown, "Allow"), "Allow");
    arrive(kUnknown);
    ASSERT_EQ(becomes(kUnknown, "Redirect"), "Redirect");
    EXPECT_EQ(dump(kUnknown)->getCharValue("redirect-url"), "http://welcome.example/");
    arrive(kBarred);
    EXPECT_EQ(becomes(kBarred, "gone"), "gone");
}

TEST_F(FreeradiusTest, ChecksThePasswordByEapAndWritesDownTheSession) {
    build("radius");
    arrive(kKnown);
    login("bob", kIp, "wrong");
    EXPECT_EQ(becomes(kKnown, "gone"), "gone");
    arrive(kKnown);
    login("bob", kIp, "hello");
    ASSERT_EQ(becomes(kKnown, "Allow"), "Allow");
    const std::string session =
        "Acct-Session-Id = \"" + dump(kKnown)->getCharValue("session-id") + "\"";
    expectRecord("Start", {session, "User-Name = \"bob\"", "Class = 0x676f6c64",
                           "Calling-Station-Id = \"02-00-00-00-00-01\"",
                           "Called-Station-Id = \"02-00-00-00-00-BB:Guest\"",
                           "NAS-Identifier = \"02:00:00:00:00:aa\"", "NAS-IP-Address = 127.0.0.1",
                           "NAS-Port-Type = Wireless-802.11", "NAS-Port = 1",
                           "Framed-IP-Address = 10.1.0.1", "Framed-MTU = 1500"});
    clock_.advanceSeconds(60);
    report({kKnown}, 4000);
    expectRecord("Interim-Update", {session, "Acct-Input-Octets = 3000",
                                    "Acct-Output-Octets = 6000", "Acct-Session-Time = 60"});
    ClientIdentity identity(MacAddr(kKnown), "", "", "");
    instance_->disconnectClient(identity, CommandInfo(END_REASON_TIME_EXPIRED));
    expectRecord("Stop", {session, "Acct-Terminate-Cause = Session-Timeout"});
}

}  // namespace
}  // namespace vesta
