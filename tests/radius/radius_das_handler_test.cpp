// Disconnect requests on their way to the sessions and back.

#include "radius/radius_das_handler.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "platform/librad/support.h"
#include "station/command_info.h"
#include "support/factory_file.h"

namespace vesta {
namespace {

using namespace ostrel::testing;

class Directory final : public SessionDirectory {
public:
    bool disconnectClient(ClientIdentity& identity, const CommandInfo& command) override {
        asked.push_back(identity.to_string() + " " + command.getEndReasonString());
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

    librad_secret secret{"s3cret"};
    std::vector<std::string> asked;
    bool broken = false;
};

class DasTest : public ::testing::Test {
protected:
    // The answer to a Disconnect-Request with these attributes, see askDas().
    std::string disconnect(const std::string& attributes) {
        static std::uint8_t id = 0;
        return askDas(
            peer_, handler_.getPort(),
            sign(makePacket(LIBRAD_RADIUS_CODE_DISCONNECT_REQUEST, ++id, attributes), "s3cret"),
            "s3cret");
    }
    static std::string attribute(int type, const std::string& value) {
        const std::uint8_t header[] = {static_cast<std::uint8_t>(type),
                                       static_cast<std::uint8_t>(value.size() + 2)};
        return toHex(header, 2) + toHex(bytesOf(value), value.size());
    }

    std::shared_ptr<Directory> directory_ = std::make_shared<Directory>();
    RadiusDasHandler handler_{directory_, 0};
    Peer peer_;
};

TEST_F(DasTest, HandsOnWhatNamesTheSession) {
    EXPECT_EQ(disconnect(attribute(1, "bob") + attribute(31, "0A-1B-2C-3D-4E-5F")), "41 ");
    EXPECT_EQ(disconnect(attribute(44, "0000000A-0000000B")), "42 6506000001f7");  // 503
    directory_->broken = true;
    EXPECT_EQ(disconnect(attribute(1, "bob")), "42 6506000001f7");
    EXPECT_EQ(directory_->asked,
              (std::vector<std::string>{
                  "mac=0a:1b:2c:3d:4e:5f/username= Radius request",
                  "mac=00:00:00:00:00:00/accounting_id=0000000A-0000000B Radius request",
                  "mac=00:00:00:00:00:00/username= Radius request"}));
}

TEST_F(DasTest, AnswersOnlyForItselfAndOnlyToWhoKnowsTheSecret) {
    EXPECT_EQ(disconnect(attribute(1, "nobody")), "");
    const std::string here =
        attribute(4, std::string("\x7f\0\0\1", 4)) + attribute(32, vesta::testing::kDeviceMac);
    EXPECT_EQ(disconnect(attribute(1, "bob") + here), "41 ");
    EXPECT_EQ(disconnect(attribute(1, "bob") + attribute(4, "\xc0\xa8\1\1")),
              "42 650600000193");  // 403
    EXPECT_EQ(disconnect(attribute(1, "bob") + attribute(32, "another")), "42 650600000193");
    EXPECT_EQ(directory_->asked.size(), 1U);
}

}  // namespace
}  // namespace vesta
