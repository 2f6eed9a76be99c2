// Disconnect requests on their way to the sessions and back.

#include "radius/radius_das_handler.h"

#include <stdexcept>

#include "platform/librad/support.h"
#include "station/command_info.h"
#include "support/factory_file.h"
#include "support/fake_clock.h"

namespace vesta {
namespace {

using namespace ostrel::testing;

class Directory final : public SessionDirectory {
public:
    bool disconnectClient(ClientIdentity& identity, const CommandInfo& command) override {
        EXPECT_EQ(command.getEndReason(), END_REASON_RADIUS_REQUEST);
        asked = identity.to_string();
        if (broken) {
            throw std::runtime_error("broken");
        }
        return identity.username == "bob";
    }
    RadiusSharedKey getClientRadiusSharedKey(ClientIdentity& identity) override {
        return identity.username == "nobody" ? RadiusSharedKey{nullptr, 0}
                                             : RadiusSharedKey{secret.data(), secret.size()};
    }
    std::string getUplink() const override { return "lo"; }

    librad_secret secret{kSecret};
    std::string asked;
    bool broken = false;
};

// An attribute in hex.
std::string attribute(std::uint8_t type, const std::string& value) {
    const std::uint8_t header[] = {type, static_cast<std::uint8_t>(value.size() + 2)};
    return toHex(header, 2) + toHex(bytesOf(value), value.size());
}

TEST(DasHandlerTest, HandsOnWhatNamesTheSessionForItselfAlone) {
    const std::string bob = attribute(1, "bob");
    const std::string nobody = "mac=00:00:00:00:00:00/";
    const struct {
        std::string attributes;
        std::string answer;
        std::string asked;
        bool broken = false;
    } cases[] = {
        {bob + attribute(31, "0A-1B-2C-3D-4E-5F"), "41 ", "mac=0a:1b:2c:3d:4e:5f/username="},
        {attribute(44, "0000000A-0000000B"), "42 6506000001f7",  // 503
         nobody + "accounting_id=0000000A-0000000B"},
        {bob, "42 6506000001f7", nobody + "username=", true},
        {attribute(1, "nobody"), "", ""},
        {bob + attribute(4, {'\x7f', 0, 0, 1}) + attribute(32, vesta::testing::kDeviceMac), "41 ",
         nobody + "username="},
        {bob + attribute(4, "\xc0\xa8\1\1"), "42 650600000193", ""},  // 403
        {bob + attribute(32, "another"), "42 650600000193", ""},
    };
    const auto directory = std::make_shared<Directory>();
    const RadiusDasHandler handler(directory, 0);
    const Peer peer;
    std::uint8_t id = 0;
    for (const auto& row : cases) {
        directory->broken = row.broken;
        const ByteString request = makePacket(40, ++id, row.attributes);
        EXPECT_EQ(askDas(peer, handler.getPort(), sign(request)), row.answer) << row.attributes;
        EXPECT_EQ(std::exchange(directory->asked, ""), row.asked) << row.attributes;
    }
}

TEST(DasHandlerTest, TriesAPortAgainThatIsTaken) {
    vesta::testing::FakeClock clock;
    ostrel::Fd other(socket(AF_INET, SOCK_DGRAM, 0));
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    ASSERT_EQ(bind(other.get(), reinterpret_cast<const sockaddr*>(&address), length), 0);
    ASSERT_EQ(getsockname(other.get(), reinterpret_cast<sockaddr*>(&address), &length), 0);
    const std::uint16_t port = ntohs(address.sin_port);
    const RadiusDasHandler handler(std::make_shared<Directory>(), port);
    const auto portAfterAMinute = [&] {
        clock.advanceSeconds(60);
        librad_eloop_step();
        return handler.getPort();
    };
    EXPECT_EQ(portAfterAMinute(), 0);
    other.reset();
    EXPECT_EQ(portAfterAMinute(), port);
}

}  // namespace
}  // namespace vesta
