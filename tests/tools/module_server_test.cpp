#include "apsim/module_server.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>

#include "ostrel/modules.h"
#include "platform/support.h"
#include "support/runtime_directory.h"

namespace apsim {
namespace {

using ostrel::writeModuleFile;
using vesta::testing::RuntimeDirectory;

const StationId kAnna{"wlan0-va1", "02:00:00:00:00:0a"};
constexpr Milliseconds kLong{5000};

// The daemon's side is the library that the daemon itself uses.
class ModuleServerTest : public ::testing::Test {
protected:
    // The socket of a daemon with that process id, which has announced itself.
    static ostrel::Fd daemon(std::uint32_t pid) {
        ostrel::Fd socket = ostrel::openNotifications(pid);
        EXPECT_EQ(ostrel::openRedirector()->request(13, &pid), 0);
        return socket;
    }
    // The next notification without its header; empty when none comes.
    static std::string receive(const ostrel::Fd& socket) {
        pollfd polled{socket.get(), POLLIN, 0};
        if (poll(&polled, 1, static_cast<int>(kLong.count())) <= 0) {
            return "";
        }
        std::array<char, 256> buffer{};
        const ssize_t size = recv(socket.get(), buffer.data(), buffer.size(), 0);
        return size < 16 ? ""
                         : std::string(buffer.data() + 16, static_cast<std::size_t>(size) - 16);
    }
    // What stands in a notification about anna.
    static std::string notification(const std::string& ip, std::uint32_t mtu) {
        return std::string("\x02\0\0\0\0\x0a", 6) + "wlan0-va1" + std::string(7, '\0') + ip +
               std::string(reinterpret_cast<const char*>(&mtu), sizeof mtu);
    }

    RuntimeDirectory runtime_;
    EventLog log_;
    ModuleServer server_{log_};
};

TEST_F(ModuleServerTest, LosesNoneOfAThousandNotifications) {
    const ostrel::Fd socket = daemon(77);
    for (std::uint32_t mtu = 1; mtu <= 1000; ++mtu) {
        server_.notify(kAnna, "10.1.0.5", mtu);
    }
    for (std::uint32_t mtu = 1; mtu <= 1000; ++mtu) {
        ASSERT_EQ(receive(socket), notification({"\x0a\x01\0\x05", 4}, mtu)) << mtu;
    }
    EXPECT_EQ(server_.pendingNotifications(), 0U);
}

TEST_F(ModuleServerTest, KeepsNotificationsForADaemonThatComesLater) {
    server_.notify(kAnna, "10.1.0.5");
    EXPECT_FALSE(receive(daemon(77)).empty());
    server_.notify(kAnna, "10.1.0.6");  // to a socket that nobody holds any more
    EXPECT_FALSE(receive(daemon(78)).empty());
}

TEST_F(ModuleServerTest, DecodesTheShapersCommands) {
    ASSERT_TRUE(writeModuleFile(ostrel::kShaperPath,
                                "sta add wlan0-va1 02:00:00:00:00:0a 2 524288 524288 0 0 0\n"));
    ASSERT_TRUE(log_.waitFor(Party::shaper, "sta add", kAnna, kLong));
    const auto limits = server_.shaperLimits(kAnna);
    ASSERT_TRUE(limits);
    EXPECT_EQ(limits->transmitMode, 2U);
    EXPECT_EQ(limits->transmit, 524288U);
    EXPECT_EQ(limits->receiveMode, 0U);

    ASSERT_TRUE(writeModuleFile(ostrel::kShaperPath, "sta del wlan0-va1 02:00:00:00:00:0a"));
    ASSERT_TRUE(log_.waitFor(Party::shaper, "sta del", kAnna, kLong));
    EXPECT_FALSE(server_.shaperLimits(kAnna));
}

TEST_F(ModuleServerTest, DecodesWifiAuthRecordsInTheOrderInWhichTheyWereWritten) {
    std::vector<std::string> values = {"anna b", "", "1"};
    for (int number = 0; number < 200; ++number) {
        values.push_back(std::to_string(number));
    }
    for (const std::string& value : values) {
        ASSERT_TRUE(writeModuleFile(ostrel::kWifiAuthPath,
                                    "username wlan0-va1 02:00:00:00:00:0a " + value));
    }
    ASSERT_TRUE(log_.waitUntil([&] { return log_.size() == values.size(); }, kLong));
    std::vector<std::string> decoded;
    for (const Event& event : log_.since()) {
        decoded.push_back(event.detail);
    }
    EXPECT_EQ(decoded, values);
    EXPECT_EQ(server_.wifiAuth("username", kAnna), "199");
}

TEST(ModuleServerFiles, AFileLeftByADeadServerIsTakenOver) {
    const RuntimeDirectory runtime;
    ostrel::testing::writeFile(runtime.path() + "/modules/redirector", "");
    EventLog log;
    const ModuleServer server(log);
    EXPECT_EQ(ostrel::openRedirector()->request(23, nullptr), 0);
}

}  // namespace
}  // namespace apsim
