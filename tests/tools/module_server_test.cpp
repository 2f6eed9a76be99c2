#include "apsim/module_server.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <fstream>
#include <set>

#include "ostrel/modules.h"
#include "platform/support.h"
#include "support/runtime_directory.h"

namespace apsim {
namespace {

using vesta::testing::RuntimeDirectory;

const StationId kAnna{"wlan0-va1", "02:00:00:00:00:0a"};
constexpr Milliseconds kLong{5000};

// The daemon's side is the library that the daemon itself uses.
class ModuleServerTest : public ::testing::Test {
protected:
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

    void announcePid(std::uint32_t pid) {
        EXPECT_EQ(ostrel::openRedirector()->request(13, &pid), 0);
    }

    RuntimeDirectory runtime_;
    EventLog log_;
    ModuleServer server_{log_};
};

TEST_F(ModuleServerTest, AnswersTheDaemonsRequests) {
    const auto control = ostrel::openRedirector();
    std::array<unsigned char, 4> proxy{};
    EXPECT_EQ(control->request(6, proxy.data()), 0);
    EXPECT_EQ(proxy, (std::array<unsigned char, 4>{192, 168, 1, 1}));
    EXPECT_EQ(control->request(24, nullptr), 0);
    EXPECT_EQ(log_.since().back().what, "wipe stations");
}

TEST_F(ModuleServerTest, SendsANotificationAsTheModuleDoes) {
    const ostrel::Fd socket = ostrel::openNotifications(77);
    announcePid(77);
    server_.notify(kAnna, "10.1.0.5", 1400);
    const std::uint32_t value = 1400;
    const std::string mtu(reinterpret_cast<const char*>(&value), sizeof value);
    EXPECT_EQ(receive(socket), std::string("\x02\0\0\0\0\x0a", 6) + "wlan0-va1" +
                                   std::string(7, '\0') + std::string("\x0a\x01\0\x05", 4) + mtu);
}

TEST_F(ModuleServerTest, LosesNoneOfAThousandNotifications) {
    const ostrel::Fd socket = ostrel::openNotifications(77);
    announcePid(77);
    std::set<std::string> expected;
    for (int station = 0; station < 1000; ++station) {
        const std::string ip =
            "10.0." + std::to_string(station / 250) + "." + std::to_string(station % 250 + 1);
        server_.notify(kAnna, ip);
        expected.insert(ip);
    }
    for (int station = 0; station < 1000; ++station) {
        const std::string payload = receive(socket);
        ASSERT_EQ(payload.size(), 30U) << station;
        std::string ip;
        for (const std::size_t place : {22U, 23U, 24U, 25U}) {
            ip += (ip.empty() ? "" : ".") +
                  std::to_string(static_cast<unsigned char>(payload[place]));
        }
        EXPECT_EQ(expected.erase(ip), 1U);
    }
    EXPECT_EQ(server_.pendingNotifications(), 0U);
}

TEST_F(ModuleServerTest, KeepsNotificationsForADaemonThatComesLater) {
    server_.notify(kAnna, "10.1.0.5");
    {
        const ostrel::Fd first = ostrel::openNotifications(77);
        announcePid(77);
        EXPECT_FALSE(receive(first).empty());
    }
    server_.notify(kAnna, "10.1.0.6");  // to a socket that nobody holds any more
    const ostrel::Fd second = ostrel::openNotifications(78);
    announcePid(78);
    EXPECT_FALSE(receive(second).empty());
}

TEST_F(ModuleServerTest, DecodesTheShapersCommands) {
    ASSERT_TRUE(ostrel::writeModuleFile(
        ostrel::kShaperPath, "sta add wlan0-va1 02:00:00:00:00:0a 2 524288 524288 0 0 0\n"));
    ASSERT_TRUE(log_.waitFor(Party::shaper, "sta add", kAnna, kLong));
    const auto limits = server_.shaperLimits(kAnna);
    ASSERT_TRUE(limits);
    EXPECT_EQ(limits->transmitMode, 2U);
    EXPECT_EQ(limits->transmit, 524288U);
    EXPECT_EQ(limits->receiveMode, 0U);

    ASSERT_TRUE(
        ostrel::writeModuleFile(ostrel::kShaperPath, "sta del wlan0-va1 02:00:00:00:00:0a"));
    ASSERT_TRUE(log_.waitFor(Party::shaper, "sta del", kAnna, kLong));
    EXPECT_FALSE(server_.shaperLimits(kAnna));
}

TEST_F(ModuleServerTest, DecodesWifiAuthRecordsWhoseValueMayBeEmptyOrHoldBlanks) {
    for (const char* value : {"anna b", "", "1"}) {
        const std::size_t from = log_.size();
        ASSERT_TRUE(ostrel::writeModuleFile(
            ostrel::kWifiAuthPath, std::string("username wlan0-va1 02:00:00:00:00:0a ") + value));
        ASSERT_TRUE(log_.waitFor(Party::wifiAuth, "username", kAnna, kLong, from));
        EXPECT_EQ(server_.wifiAuth("username", kAnna), value);
    }
}

TEST_F(ModuleServerTest, TakesCommandsInTheOrderInWhichTheyWereWritten) {
    constexpr int kCommands = 200;
    for (int number = 0; number < kCommands; ++number) {
        ASSERT_TRUE(ostrel::writeModuleFile(
            ostrel::kWifiAuthPath,
            "username wlan0-va1 02:00:00:00:00:0a " + std::to_string(number)));
    }
    ASSERT_TRUE(log_.waitUntil([&] { return log_.size() == kCommands; }, kLong));
    int number = 0;
    for (const Event& event : log_.since()) {
        EXPECT_EQ(event.detail, std::to_string(number++));
    }
}

TEST_F(ModuleServerTest, HearsOfTheDeauthCommand) {
    StationId gone;
    server_.setDeauthHandler([&](const StationId& id) { gone = id; });
    ASSERT_TRUE(sendDeauth(kAnna));
    ASSERT_TRUE(log_.waitUntil([&] { return log_.size() == 1; }, kLong));
    // A request that is answered comes after all that the server did before.
    announcePid(1);
    EXPECT_EQ(gone, kAnna);
}

TEST_F(ModuleServerTest, ASecondServerInTheSameDirectoryIsRefused) {
    EventLog log;
    EXPECT_THROW(ModuleServer{log}, std::runtime_error);
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
