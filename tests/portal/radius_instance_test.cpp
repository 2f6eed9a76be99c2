// Instances that use RADIUS, with their server: logins, MAC authentication, accounting, and which
// station a disconnect request means.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/librad/support.h"
#include "station/command_info.h"
#include "support/radius_instance.h"
#include "support/recording_informator.h"

namespace vesta {
namespace {

namespace rad = ostrel::testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const char* const kMac = "02:00:00:00:00:01";
const char* const kIp = "10.1.0.1";
constexpr std::uint8_t kAccept = LIBRAD_RADIUS_CODE_ACCESS_ACCEPT;
constexpr std::uint8_t kReject = LIBRAD_RADIUS_CODE_ACCESS_REJECT;

class RadiusInstanceTest : public testing::InstanceTest {
protected:
    void build(const std::string& mode, bool accounting = false) {
        InstanceTest::build(mode, accounting, server_.port(), server_.port());
        instance_->addClientsEventsInformator(heard_);
        Singleton<RadiusListener>::getInstance().stop();
    }
    // A second with statistics of these stations.
    void round(const std::vector<std::string>& macs) {
        clock_.advanceSeconds(1);
        report(macs, 1);
        librad_eloop_step();
    }
    void add(const std::string& mac = kMac, const std::string& ip = kIp) {
        EXPECT_TRUE(instance_->addClient(MacAddr(mac), ip, 1500));
        round({mac});
    }
    // The login that came last; answers accounting on the way.
    std::optional<rad::Packet> request() {
        std::optional<rad::Packet> found;
        librad_eloop_step();
        while (auto packet = server_.receive()) {
            if (packet->bytes[0] == LIBRAD_RADIUS_CODE_ACCESS_REQUEST) {
                found = std::move(packet);
            } else {
                server_.answer(*packet, LIBRAD_RADIUS_CODE_ACCOUNTING_RESPONSE);
            }
        }
        return found;
    }
    void answer(const std::optional<rad::Packet>& to, std::uint8_t code,
                const std::string& attributes = "") {
        ASSERT_TRUE(to.has_value());
        server_.answer(*to, code, rad::Mac::valid, attributes);
    }

    rad::Peer server_;
    std::shared_ptr<testing::RecordingInformator> heard_ =
        std::make_shared<testing::RecordingInformator>();
};

TEST_F(RadiusInstanceTest, ChangesNothingWhenAnAnswerComesAfterTheStationWasRemoved) {
    build("radius");
    add();
    login("bob", kIp, "hello");
    const auto asked = request();
    ClientIdentity identity(MacAddr(kMac), "", "", "");
    EXPECT_TRUE(instance_->disconnectClient(identity, CommandInfo()));
    add();  // the same station anew
    heard_->take();
    for (const std::uint8_t code : {kReject, kAccept}) {
        answer(asked, code);
        EXPECT_THAT(heard_->take(), IsEmpty());
    }
    EXPECT_TRUE(instance_->isYourClient(identity));
}

TEST_F(RadiusInstanceTest, AsksAgainForAStationThatWaits) {
    build("portal-mac-auth");
    add();
    const auto lost = request();
    ASSERT_TRUE(lost.has_value());
    int requests = 0;
    for (int second = 0; second < 130; ++second) {
        round({kMac});
        const auto next = request();
        if (next && next->authenticator() != lost->authenticator()) {
            ++requests;
            answer(next, kAccept, "1a0c 00007ed9 1f06 00000001");
        }
    }
    EXPECT_EQ(requests, 1);
    EXPECT_THAT(heard_->take(), ::testing::Contains("authenticated 02:00:00:00:00:01"));
}

TEST_F(RadiusInstanceTest, DisconnectsTheStationThatEveryKeyMeans) {
    const std::string phone = "02:00:00:00:00:0a";
    const std::string laptop = "02:00:00:00:00:0b";
    const struct {
        std::string mac;
        bool withSession;  // the laptop's
        std::string name;
        std::string gone;
    } cases[] = {
        {laptop, false, "", laptop},
        {"", false, "bob", phone},
        {"", true, "", laptop},
        {laptop, true, "bob", laptop},
        {laptop, false, "bob", laptop},
        {laptop, false, "alice", ""},
        {phone, true, "", ""},
        {"", true, "alice", ""},
        {"02:00:00:00:00:0c", false, "bob", ""},
        {"", false, "alice", ""},
    };
    for (const auto& given : cases) {
        build("local", true);
        add(phone, "10.1.0.10");
        login("bob", "10.1.0.10", "hello");
        add(laptop, "10.1.0.11");
        login("bob", "10.1.0.11", "hello");
        round({phone, laptop});
        const std::string session = dump(laptop)->getCharValue("session-id");
        ClientIdentity identity(MacAddr(given.mac), "", given.withSession ? session : "",
                                given.name);
        EXPECT_EQ(instance_->disconnectClient(identity, CommandInfo()), !given.gone.empty());
        for (const std::string& mac : {phone, laptop}) {
            ClientIdentity byMac(MacAddr(mac), "", "", "");
            EXPECT_EQ(instance_->isYourClient(byMac), mac != given.gone) << given.gone;
        }
        ClientIdentity bySession({}, "", session, "");
        EXPECT_EQ(instance_->isClientConnected(bySession), laptop != given.gone);
        ClientIdentity noSession({}, "", "00000001-00000001", "bob");
        EXPECT_FALSE(instance_->isClientConnected(noSession));
    }
}

}  // namespace
}  // namespace vesta
