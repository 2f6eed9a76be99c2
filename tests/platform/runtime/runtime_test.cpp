#include "ostrel/runtime.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/support.h"

namespace ostrel {
namespace {

using ostrel::testing::TempDirectory;
using ostrel::testing::writeFile;

unsigned int modeOf(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
}

bool isOpen(int fd) {
    return fcntl(fd, F_GETFD) >= 0;
}

TEST(MakeDirectories, GivesTheLastOneItsModeWhateverTheUmask) {
    const TempDirectory temp;
    const mode_t before = umask(077);
    EXPECT_TRUE(makeDirectories(temp.path("a/b/c"), 0750));
    umask(before);
    EXPECT_EQ(modeOf(temp.path("a/b/c")), 0750U);
}

TEST(MakeDirectories, LeavesAnExistingOneAsItIs) {
    const TempDirectory temp;
    ASSERT_TRUE(makeDirectories(temp.path("a"), 0700));
    EXPECT_TRUE(makeDirectories(temp.path("a"), 0750));
    EXPECT_EQ(modeOf(temp.path("a")), 0700U);
}

TEST(MakeDirectories, FailsWithTheReasonWhereAFileIsInTheWay) {
    const TempDirectory temp;
    writeFile(temp.path("file"), "");
    for (const char* path : {"file", "file/below", "file/far/below"}) {
        errno = 0;
        EXPECT_FALSE(makeDirectories(temp.path(path), 0750)) << path;
        EXPECT_EQ(errno, EEXIST) << path;
    }
}

TEST(MakeDirectories, TellsWhyTheSystemRefused) {
    // The kernel lets nobody make a directory there, and the reason is not that it is missing.
    errno = 0;
    EXPECT_FALSE(makeDirectories("/sys/ostrel-test", 0750));
    EXPECT_NE(errno, ENOENT);
    EXPECT_NE(errno, 0);
}

TEST(Fd, ClosesOnceAndKeepsErrno) {
    Fd first(open("/dev/null", O_RDONLY | O_CLOEXEC));
    const int number = first.get();
    Fd second(std::move(first));
    EXPECT_FALSE(first.valid());  // NOLINT(bugprone-use-after-move): the state left is the subject
    Fd& same = second;
    second = std::move(same);
    EXPECT_TRUE(isOpen(number));

    errno = EBUSY;
    second = Fd();
    EXPECT_EQ(errno, EBUSY);
    EXPECT_FALSE(isOpen(number));
}

TEST(Fd, ReleasedDescriptorsStayOpen) {
    int number = -1;
    {
        Fd fd(open("/dev/null", O_RDONLY | O_CLOEXEC));
        number = fd.release();
    }
    EXPECT_TRUE(isOpen(number));
    close(number);
}

TEST(RuntimeDirectory, ComesFromTheEnvironmentWithoutATrailingSlash) {
    setenv("OSTREL_RUNTIME_DIR", "/tmp/x//", 1);
    EXPECT_EQ(runtimeDirectory(), "/tmp/x");
    setenv("OSTREL_RUNTIME_DIR", "", 1);
    EXPECT_EQ(runtimeDirectory(), "/run/ostrel");
    unsetenv("OSTREL_RUNTIME_DIR");
}

TEST(Report, ReachesTheSinkCutToItsBoundAndKeepsErrno) {
    static std::string received;
    setLogSink([](LogLevel level, const char* text) {
        received = (level == LogLevel::warning ? "warning " : "other ") + std::string(text);
        errno = EINVAL;
    });
    errno = EBUSY;
    report(LogLevel::warning, "%s=%d", "a", 7);
    EXPECT_EQ(errno, EBUSY);
    EXPECT_EQ(received, "warning a=7");
    report(LogLevel::error, "%s", std::string(5000, 'x').c_str());
    EXPECT_EQ(received.size(), 6U + 1023U);
    setLogSink(nullptr);
    report(LogLevel::error, "dropped");
    EXPECT_EQ(received.size(), 6U + 1023U);
}

}  // namespace
}  // namespace ostrel
