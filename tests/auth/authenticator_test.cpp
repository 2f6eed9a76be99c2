// What each mode makes of a login, and what the RADIUS modes make of a server's answers.

#include "auth/authenticator.h"

#include <gtest/gtest.h>

#include "auth/portal_mac_authenticator.h"
#include "auth/radius_authenticator.h"
#include "radius/worker_fixture.h"

namespace vesta {
namespace {

namespace rad = ostrel::testing;
using testing::WorkerTest;

constexpr std::uint8_t kAccept = LIBRAD_RADIUS_CODE_ACCESS_ACCEPT;
constexpr std::uint8_t kReject = LIBRAD_RADIUS_CODE_ACCESS_REJECT;

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
    void build(AUTH_MODE mode) {
        WorkerTest::build(mode);
        if (mode == AUTH_MODE_RADIUS) {
            authenticator_ = std::make_unique<RadiusAuthenticator>(worker_, owner_);
        } else {
            authenticator_ = std::make_unique<PortalMacAuthenticator>(worker_, owner_);
        }
    }

    std::unique_ptr<Authenticator> authenticator_;
};

TEST_F(AuthenticatorTest, AsksAndActsOnTheServersDecision) {
    const struct {
        AUTH_MODE mode;
        std::uint8_t code;
        const char* attributes;
        std::vector<std::string> asked;
    } cases[] = {
        {AUTH_MODE_RADIUS, kAccept, "", {"auth"}},
        {AUTH_MODE_RADIUS, kReject, "", {"deleted 2"}},
        {AUTH_MODE_PORTAL_MAC, kReject, "", {"deleted 2"}},
        {AUTH_MODE_PORTAL_MAC, kAccept, "", {}},
        {AUTH_MODE_PORTAL_MAC, kAccept, "1a0a 00007ed9 1f04 0001", {}},
        {AUTH_MODE_PORTAL_MAC, kAccept, "1a0c 00007ed8 1f06 00000001", {}},
        {AUTH_MODE_PORTAL_MAC, kAccept, "1a0c 00007ed9 1f06 00000001", {"macSuccess"}},
        {AUTH_MODE_PORTAL_MAC, kAccept, "1a0c 00007ed9 1f06 01000000", {"macSuccess"}},
        {AUTH_MODE_PORTAL_MAC, kAccept, "1a0c 00007ed9 1f06 00000000", {"macFailure"}},
    };
    for (const auto& given : cases) {
        build(given.mode);
        const bool byMac = given.mode == AUTH_MODE_PORTAL_MAC;
        const auto client = newClient();
        EXPECT_EQ(authenticator_->makeAuthenticate(client, "bob", "hello"),
                  byMac ? NOT_AUTHENTICATED : AUTHENTICATION_PENDING);
        EXPECT_EQ(authenticator_->authConnectedUser(client), byMac);
        const rad::Packet packet = request();
        EXPECT_EQ(packet.text(LIBRAD_RADIUS_ATTR_USER_NAME), byMac ? "0A-1B-2C-3D-4E-5F" : "bob");
        EXPECT_EQ(client->getPassword(), byMac ? "PLACEHOLDR" : "hello");
        EXPECT_TRUE(isSilent());
        answer(packet, given.code, given.attributes);
        EXPECT_EQ(std::exchange(owner_.asked, {}), given.asked)
            << given.mode << " " << given.attributes;
    }
}

TEST_F(AuthenticatorTest, KeepsTheClassesOfTheLastAccept) {
    build(AUTH_MODE_RADIUS);
    const auto client = newClient();
    const librad_radius_sta_info& sta = *client->getRadiusSta();
    authenticator_->makeAuthenticate(client, "bob", "hello");
    answer(request(), kAccept, "1903 61 1903 62");
    EXPECT_EQ(sta.classes, (std::vector<std::string>{"a", "b"}));
    authenticator_->makeAuthenticate(client, "bob", "hello");
    answer(request(), kAccept);
    EXPECT_TRUE(sta.classes.empty());
}

}  // namespace
}  // namespace vesta
