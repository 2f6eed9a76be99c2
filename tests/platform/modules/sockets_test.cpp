#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "ostrel/modules.h"
#include "platform/modules/fake_server.h"

namespace ostrel {
namespace {

using ostrel::testing::FakeServer;

using SocketsTest = ostrel::testing::ModulesTest;

TEST_F(SocketsTest, NotificationsHaveASocketOfTheProcessForTheGroup) {
    std::filesystem::remove(runtime.path("modules"));
    const Fd fd = openNotifications(4711);
    ASSERT_TRUE(fd.valid());
    EXPECT_NE(fcntl(fd.get(), F_GETFL) & O_NONBLOCK, 0);
    EXPECT_NE(fcntl(fd.get(), F_GETFD) & FD_CLOEXEC, 0);
    struct stat status {};
    ASSERT_EQ(stat(path("notify-4711").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0660U);
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
    for (const char* text : {"sta del main 00:11:22:33:44:55", "second\n"}) {
        EXPECT_EQ(writeModuleFile(kShaperPath, text), 0);
        EXPECT_EQ(shaper.receiveFile(), text);
    }
    // No file is made where there is no server.
    EXPECT_EQ(writeModuleFile(kWifiAuthPath, "x"), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(writeModuleFile(path("other").c_str(), "x"), -1);
    EXPECT_FALSE(std::filesystem::exists(path("other")));
}

TEST_F(SocketsTest, AServerThatTakesNoMoreConnectionsIsLeftAloneForAWhile) {
    FakeServer server(path("shaper"), 0);
    int taken = 0;
    while (taken < 10 && writeModuleFile(kShaperPath, "x") == 0) {
        ++taken;
    }
    EXPECT_EQ(errno, EIO);
    ASSERT_LT(taken, 10);
    for (int i = 0; i < taken; ++i) {
        server.accept();
    }
    EXPECT_EQ(writeModuleFile(kShaperPath, "y"), -1) << "it was to be left alone";
    clock.monotonic += 1000000;
    EXPECT_EQ(writeModuleFile(kShaperPath, "z"), 0);
    EXPECT_EQ(server.receiveFile(), "z");
}

}  // namespace
}  // namespace ostrel
