#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>

#include "ostrel/modules.h"
#include "platform/modules/fake_server.h"

namespace ostrel {
namespace {

using ostrel::testing::addressOf;
using ostrel::testing::FakeServer;

using SocketsTest = ostrel::testing::ModulesTest;

TEST_F(SocketsTest, NotificationsArriveAsDatagramsOnASocketOfTheProcess) {
    std::filesystem::remove(runtime.path("modules"));
    const Fd fd = openNotifications(4711);
    ASSERT_TRUE(fd.valid());
    EXPECT_NE(fcntl(fd.get(), F_GETFL) & O_NONBLOCK, 0);
    EXPECT_NE(fcntl(fd.get(), F_GETFD) & FD_CLOEXEC, 0);
    struct stat status {};
    ASSERT_EQ(stat(path("notify-4711").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0660U);

    const std::string sent = std::string(16, 'h') + std::string(30, 'p');
    const Fd sender(socket(AF_UNIX, SOCK_DGRAM, 0));
    const sockaddr_un address = addressOf(path("notify-4711"));
    ASSERT_EQ(sendto(sender.get(), sent.data(), sent.size(), 0,
                     reinterpret_cast<const sockaddr*>(&address), sizeof address),
              46);
    char received[256];
    ASSERT_EQ(recv(fd.get(), received, sizeof received, 0), 46);
    EXPECT_EQ(std::string(received, 46), sent);
}

TEST_F(SocketsTest, TheOpeningClearsAwayWhatTheDeadLeftBehind) {
    const Fd living = openNotifications(1);
    { const Fd dead = openNotifications(2); }
    { const Fd own = openNotifications(3); }
    const Fd again = openNotifications(3);
    EXPECT_TRUE(again.valid());
    EXPECT_TRUE(std::filesystem::exists(path("notify-1")));
    EXPECT_FALSE(std::filesystem::exists(path("notify-2")));
    EXPECT_TRUE(std::filesystem::exists(path("notify-3")));
}

TEST_F(SocketsTest, OneWritingIsOneConnectionWithOneDatagram) {
    FakeServer shaper(path("shaper"));
    FakeServer wifi(path("wifi-auth"));
    EXPECT_TRUE(writeModuleFile(kShaperPath, "sta del main 00:11:22:33:44:55"));
    EXPECT_TRUE(writeModuleFile(kShaperPath, "second\n"));
    EXPECT_TRUE(writeModuleFile(kWifiAuthPath, "username main 00:11:22:33:44:55 joe"));
    for (const char* expected : {"sta del main 00:11:22:33:44:55", "second\n"}) {
        EXPECT_EQ(shaper.receiveFile(), expected);
    }
    EXPECT_EQ(wifi.receiveFile(), "username main 00:11:22:33:44:55 joe");
}

TEST_F(SocketsTest, WithNeitherTheOpeningFails) {
    EXPECT_FALSE(writeModuleFile(kShaperPath, "x"));
    EXPECT_EQ(errno, ENOENT);
    // No file is made, and nothing else has a server.
    EXPECT_FALSE(writeModuleFile(path("other").c_str(), "x"));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(std::filesystem::exists(path("other")));
}

TEST_F(SocketsTest, AServerThatTakesNoMoreConnectionsIsLeftAloneForAWhile) {
    FakeServer server(path("shaper"), 0);
    int taken = 0;
    while (taken < 10 && writeModuleFile(kShaperPath, "x")) {
        ++taken;
    }
    EXPECT_EQ(errno, EIO);
    ASSERT_LT(taken, 10);
    for (int i = 0; i < taken; ++i) {
        server.accept();
    }
    EXPECT_FALSE(writeModuleFile(kShaperPath, "y")) << "it was to be left alone";
    clock.monotonic += 1000000;
    EXPECT_TRUE(writeModuleFile(kShaperPath, "z"));
    EXPECT_EQ(server.receiveFile(), "z");
}

}  // namespace
}  // namespace ostrel
