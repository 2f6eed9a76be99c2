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

TEST(MakeDirectories, FailsWithTheReasonWhereAFileIsInTheWay) {
    const TempDirectory temp;
    writeFile(temp.path("file"), "");
    std::filesystem::create_symlink("nowhere", temp.path("link"));
    for (const char* path : {"file", "file/below", "file/far/below", "link"}) {
        errno = 0;
        EXPECT_FALSE(makeDirectories(temp.path(path), 0750)) << path;
        EXPECT_EQ(errno, EEXIST) << path;
    }
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

}  // namespace
}  // namespace ostrel
