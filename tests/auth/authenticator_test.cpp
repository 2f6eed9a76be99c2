// What each mode makes of a login, and what the RADIUS modes make of a server's answers.

#include "auth/authenticator.h"

#include <gtest/gtest.h>

#include "auth/portal_mac_authenticator.h"
#include "auth/radius_authenticator.h"
#include "radius/worker_fixture.h"

namespace vesta {
namespace {

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
    // What the instance was asked to do since the last call.
    std::vector<std::string> asked() { return std::exchange(owner_.asked, {}); }

    std::unique_ptr<Authenticator> authenticator_;
};

TEST_F(AuthenticatorTest, ActsOnTheServersDecision) {
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
        const auto client = newClient();
        if (given.mode == AUTH_MODE_RADIUS) {
            EXPECT_EQ(authenticator_->makeAuthenticate(client, "bob", "hello"),
                      AUTHENTICATION_PENDING);
        } else {
            EXPECT_TRUE(authenticator_->authConnectedUser(client));
        }
        answer(request(), given.code, given.attributes);
        EXPECT_EQ(asked(), given.asked) << given.mode << " " << given.attributes;
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

TEST_F(AuthenticatorTest, LooksUpAStationByItsAddress) {
    build(AUTH_MODE_PORTAL_MAC);
    const auto client = newClient("bob");
    EXPECT_EQ(authenticator_->makeAuthenticate(client, "bob", "hello"), NOT_AUTHENTICATED);
    EXPECT_TRUE(isSilent());
    authenticator_->authConnectedUser(client);
    EXPECT_EQ(request().text(LIBRAD_RADIUS_ATTR_USER_NAME), "0A-1B-2C-3D-4E-5F");
    EXPECT_EQ(client->getLogin(), "0A-1B-2C-3D-4E-5F");
    EXPECT_EQ(client->getPassword(), "PLACEHOLDR");
}

}  // namespace
}  // namespace vesta
