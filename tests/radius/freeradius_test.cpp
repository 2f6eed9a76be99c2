// An instance against a server that others have written.

#include <gtest/gtest.h>
#include <poll.h>

#include "radius/radius_das_handler.h"
#include "station/command_info.h"
#include "support/freeradius_process.h"
#include "support/radius_instance.h"

namespace vesta {
namespace {

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

class OneInstance final : public SessionDirectory {
public:
    explicit OneInstance(std::shared_ptr<PortalInstanceInterface> instance)
        : instance_(std::move(instance)) {}
    bool disconnectClient(ClientIdentity& identity, const CommandInfo& command) override {
        return instance_->disconnectClient(identity, command);
    }
    RadiusSharedKey getClientRadiusSharedKey(ClientIdentity&) override {
        return instance_->getRadiusSharedKey();
    }
    std::string getUplink() const override { return "lo"; }

private:
    std::shared_ptr<PortalInstanceInterface> instance_;
};

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

    // What `probe` returns once that is what it should be, or after ten seconds.
    template <class Probe>
    static std::string eventually(const std::string& wanted, Probe probe) {
        std::string now = probe();
        for (int i = 0; i < 1000 && now.find(wanted) == std::string::npos; ++i) {
            poll(nullptr, 0, 10);
            now = probe();
        }
        return now;
    }
    // What becomes of a station: "gone" or its access.
    std::string becomes(const char* mac, const std::string& access) {
        return eventually(access, [&] {
            const auto client = dump(mac);
            return client ? client->getCharValue("access-type") : "gone";
        });
    }
    // The accounting record that contains `text`, as the server wrote it down.
    std::string recordWith(const std::string& text) {
        return eventually(text, [&] {
            const std::string detail = server_->detail();
            const std::size_t at = detail.find(text);
            const std::size_t end = at == std::string::npos ? at : detail.find("\n\n", at);
            const std::size_t begin = detail.rfind("\n\n", at);
            return end == std::string::npos
                       ? ""
                       : detail.substr(begin == std::string::npos ? 0 : begin, end - begin);
        });
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

bool holds(const std::string& record, const std::string& attribute) {
    return record.find("\t" + attribute + "\n") != std::string::npos;
}

TEST_F(FreeradiusTest, ChecksThePasswordByEapAndWritesDownTheSession) {
    build("radius");
    arrive(kKnown);
    login("bob", kIp, "wrong");
    EXPECT_EQ(becomes(kKnown, "gone"), "gone");
    arrive(kKnown);
    login("bob", kIp, "hello");
    ASSERT_EQ(becomes(kKnown, "Allow"), "Allow");
    const std::string start = recordWith("Acct-Status-Type = Start");
    const std::string session = dump(kKnown)->getCharValue("session-id");
    const std::string sessionLine = "Acct-Session-Id = \"" + session + "\"";
    for (const std::string& attribute : std::vector<std::string>{
             sessionLine, "User-Name = \"bob\"", "Class = 0x676f6c64",
             "Calling-Station-Id = \"02-00-00-00-00-01\"",
             "Called-Station-Id = \"02-00-00-00-00-BB:Guest\"",
             "NAS-Identifier = \"02:00:00:00:00:aa\"", "NAS-IP-Address = 127.0.0.1",
             "NAS-Port-Type = Wireless-802.11", "NAS-Port = 1", "Framed-IP-Address = 10.1.0.1",
             "Framed-MTU = 1500"}) {
        EXPECT_TRUE(holds(start, attribute)) << attribute << " in" << start;
    }
    clock_.advanceSeconds(60);
    report({kKnown}, 4000);
    const std::string interim = recordWith("Acct-Status-Type = Interim-Update");
    for (const std::string& attribute :
         {sessionLine, std::string("Acct-Input-Octets = 3000"),
          std::string("Acct-Output-Octets = 6000"), std::string("Acct-Session-Time = 60")}) {
        EXPECT_TRUE(holds(interim, attribute)) << attribute << " in" << interim;
    }
    ClientIdentity identity(MacAddr(kKnown), "", "", "");
    instance_->disconnectClient(identity, CommandInfo(END_REASON_TIME_EXPIRED));
    const std::string stop = recordWith("Acct-Status-Type = Stop");
    EXPECT_TRUE(holds(stop, sessionLine)) << stop;
    EXPECT_TRUE(holds(stop, "Acct-Terminate-Cause = Session-Timeout")) << stop;
}

TEST_F(FreeradiusTest, IsToldToDisconnect) {
    build("radius");
    RadiusDasHandler handler(std::make_shared<OneInstance>(instance_), 0);
    const auto disconnect = [&](const std::string& attributes) {
        return testing::FreeradiusProcess::disconnect(handler.getPort(), kSecret, attributes);
    };
    for (const std::string key : {"mac", "name", "session"}) {
        arrive(kKnown);
        login("bob", kIp, "hello");
        ASSERT_EQ(becomes(kKnown, "Allow"), "Allow");
        const std::string session =
            "Acct-Session-Id = \"" + dump(kKnown)->getCharValue("session-id") + "\"";
        EXPECT_FALSE(disconnect("User-Name = \"alice\"\n" + session)) << key;
        EXPECT_TRUE(disconnect(key == "mac"    ? "Calling-Station-Id = \"02-00-00-00-00-01\""
                               : key == "name" ? "User-Name = \"bob\""
                                               : session))
            << key;
        EXPECT_FALSE(dump(kKnown)) << key;
    }
}

}  // namespace
}  // namespace vesta
