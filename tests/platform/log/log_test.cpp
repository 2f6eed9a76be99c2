#include "ostrel/log.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "log/log_file.h"
#include "log/log_stamp.h"
#include "ostrel/runtime.h"
#include "platform/support.h"
#include "support/fake_clock.h"

namespace {

using ostrel::testing::readFile;
using ostrel::testing::TempDirectory;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

constexpr char kHead[] = "2026-11-22 21:14:42.123 \\+0000 vestad\\[[0-9]+\\]: ";

void append(const char* format, ...) __attribute__((format(printf, 1, 2)));
void append(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vostrel_log_msg(format, arguments);
    va_end(arguments);
}

void logText(const std::string& text) {
    ostrel_log_msg_timed("|%s|", "DEBUG");
    append("%s\n", text.c_str());
}

class LogTest : public ::testing::Test {
protected:
    LogTest() {
        setZone("UTC0");
        clock.wall = 1795382082123456;  // 2026-11-22 21:14:42.123456 UTC
        ostrel_log_set_daemonname("vestad");
        ostrel_log_set_limit(0);
        // What an earlier test has lost is told here, not in the file under test.
        ostrel_log_set_filename("/dev/null");
        logText("");
        ostrel_log_set_filename(file.c_str());
        recordLength = lengthOf("");
    }
    ~LogTest() override { ostrel_log_set_filename("/dev/null"); }

    static void setZone(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }

    // The bytes that a record with `text` takes.
    std::size_t lengthOf(const std::string& text) {
        logText(text);
        const std::size_t length = readFile(file).size();
        std::filesystem::resize_file(file, 0);
        return length;
    }

    vesta::testing::FakeClock clock;
    TempDirectory directory;
    const std::string file = directory.path("vestad.log");
    std::size_t recordLength = 0;
};

TEST_F(LogTest, ARecordIsTimeDaemonProcessAndTheTextAsGivenAndGoesOutWhenItEnds) {
    ostrel_log_msg_timed("|ERROR|");
    append("%s", "first ");
    EXPECT_EQ(readFile(file), "");
    append("half");
    // The next one begins although this one had no line end.
    logText("client 7% gone");
    EXPECT_THAT(readFile(file), MatchesRegex(kHead + std::string("\\|ERROR\\|first half\n") +
                                             kHead + "\\|DEBUG\\|client 7% gone\n"));
    EXPECT_THAT(readFile(file), HasSubstr("[" + std::to_string(getpid()) + "]"));
}

TEST_F(LogTest, TheEmergencyRecordReadsLikeAnyOtherInAnyZone) {
    for (const char* zone : {"XXX-5:30", "YYY3", "UTC0"}) {
        setZone(zone);
        clock.wall += 60 * 1000000;
        std::filesystem::resize_file(file, 0);
        logText("Receive kill signal 11");
        const std::string normal = readFile(file);
        errno = EBUSY;
        ostrel_log_emergency("|DEBUG|Receive kill signal 11\n");
        EXPECT_EQ(errno, EBUSY);
        EXPECT_EQ(readFile(file), normal + normal);
    }
}

TEST_F(LogTest, AnEndlessRecordIsCutWithAMark) {
    ostrel_log_msg_timed("|DEBUG|");
    append("%s\n", std::string(300 * 1024, 'x').c_str());
    append("of the same record\n");
    const std::string text = readFile(file);
    EXPECT_EQ(text.size(), 256U * 1024U);
    EXPECT_THAT(text.substr(text.size() - 8), "xxxx...\n");
}

TEST_F(LogTest, TheFileIsRenamedBeforeItPassesTheLimit) {
    ostrel_log_set_limit(1);
    logText(std::string(1024 - 2 * recordLength, 'a'));
    logText("");
    EXPECT_EQ(readFile(file).size(), 1024U);
    EXPECT_FALSE(std::filesystem::exists(file + ".1"));
    logText("b");
    ostrel_log_emergency("|ERROR|end\n");
    EXPECT_THAT(readFile(file),
                MatchesRegex(kHead + std::string("\\|DEBUG\\|b\n") + kHead + "\\|ERROR\\|end\n"));
    EXPECT_EQ(readFile(file + ".1").size(), 1024U);
    // A record that no file within the limit could hold.
    logText(std::string(2000, 'c'));
    EXPECT_EQ(readFile(file).size(), recordLength + 2000);
    EXPECT_THAT(readFile(file + ".1"), EndsWith("|ERROR|end\n"));
}

// A signal handler on another thread may hold the number at any moment.
TEST_F(LogTest, AFileThatWasMovedIsBegunAnew) {
    logText("before");
    const std::string moved = file + ".moved";
    ASSERT_EQ(rename(file.c_str(), moved.c_str()), 0);
    logText("still there");
    ostrel_log_reopen();
    ostrel_log_tend();
    EXPECT_EQ(readFile(file), "");
    logText("after");
    EXPECT_THAT(readFile(moved), EndsWith("still there\n"));
    EXPECT_THAT(readFile(file), EndsWith("after\n"));
}

TEST_F(LogTest, TheDescriptorKeepsItsNumberWhateverIsOpened) {
    ostrel::log::LogFile one;
    one.setPath(directory.path("a"));
    const int number = one.descriptor();
    for (const char* name : {"b", "missing/c", "d"}) {
        one.setPath(directory.path(name));
        EXPECT_EQ(one.descriptor(), number) << name;
    }
    EXPECT_TRUE(one.append("x\n", 2));
    EXPECT_EQ(readFile(directory.path("d")), "x\n");
    close(number);
}

TEST_F(LogTest, WhatNoFileTakesIsCountedAndToldByTheNextThatDoes) {
    const unsigned long before = ostrel_log_lost();
    ostrel_log_set_filename("/dev/full");
    for (const char* text : {"1", "2", "3"}) {
        logText(text);
    }
    EXPECT_EQ(ostrel_log_lost(), before + 3);
    ostrel_log_set_filename(file.c_str());
    logText("4");
    EXPECT_THAT(readFile(file), MatchesRegex(kHead +
                                             std::string("\\|WARNING\\|3 log records were lost: "
                                                         "No space left on device\n") +
                                             kHead + "\\|DEBUG\\|4\n"));
    // A file that can't be written is tried again after some seconds.
    const std::string later = directory.path("later/vestad.log");
    ostrel_log_set_filename(later.c_str());
    std::filesystem::create_directory(directory.path("later"));
    logText("lost");
    EXPECT_FALSE(std::filesystem::exists(later));
    clock.monotonic += 5000000;
    logText("written");
    EXPECT_THAT(readFile(later), HasSubstr("|WARNING|1 log records were lost: No such file"));
    EXPECT_THAT(readFile(later), EndsWith("|written\n"));
}

TEST_F(LogTest, LeadsThroughNoLinkAndIsItsOwnersAloneWhateverTheUmask) {
    const std::string target = directory.path("target");
    const std::string link = directory.path("link");
    std::ofstream(target) << "x";
    std::filesystem::create_symlink(target, link);
    ostrel_log_set_filename(link.c_str());
    logText("lost");
    EXPECT_EQ(readFile(target), "x");
    const mode_t before = umask(0277);
    const std::string fresh = directory.path("fresh");
    ostrel_log_set_filename(fresh.c_str());
    umask(before);
    using std::filesystem::perms;
    EXPECT_EQ(std::filesystem::status(fresh).permissions(), perms::owner_read | perms::owner_write);
}

// A pipe takes a short write whole or not at all, so the head of a record would be there if it went
// out by itself. A long one is torn.
TEST_F(LogTest, ARecordIsOneWriteAndATornOneIsLostAndItsLineEnded) {
    constexpr int kCapacity = 4096;
    const std::string fifo = directory.path("fifo");
    mkfifo(fifo.c_str(), 0600);
    // Nobody reads yet; that must neither block nor fail.
    ostrel_log_set_filename(fifo.c_str());
    const ostrel::Fd reader(open(fifo.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    ASSERT_EQ(fcntl(reader.get(), F_SETPIPE_SZ, kCapacity), kCapacity);
    const auto drain = [&reader] {
        std::string text(2 * kCapacity, '\0');
        const ssize_t length = read(reader.get(), text.data(), text.size());
        text.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
        return text;
    };
    logText(std::string(kCapacity - 100 - recordLength, 'a'));
    logText(std::string(100, 'b'));
    const std::string whole = drain();
    EXPECT_THAT(whole, EndsWith("aaa\n"));
    EXPECT_EQ(whole.size(), static_cast<std::size_t>(kCapacity) - 100);

    logText("tells of the loss");
    drain();
    logText(std::string(2 * kCapacity, 'a'));
    EXPECT_THAT(drain(), EndsWith("aaa"));
    logText("b");
    const std::string text = drain();
    EXPECT_THAT(text, StartsWith("\n2026-"));
    EXPECT_THAT(text, HasSubstr("|WARNING|1 log records were lost: Resource temporarily"));
    EXPECT_THAT(text, EndsWith("|DEBUG|b\n"));
}

TEST(LogStamp, CountsTheCalendarInAnyZoneAndCutsTimeDownToMilliseconds) {
    const struct {
        std::int64_t microseconds;
        std::int32_t zone;
        const char* expected;
    } cases[] = {
        {0, -3600, "1969-12-31 23:00:00.000 -0100"},
        {-1, 0, "1969-12-31 23:59:59.999 +0000"},
        {42001999, 0, "1970-01-01 00:00:42.001 +0000"},
        {951782400000000, 0, "2000-02-29 00:00:00.000 +0000"},
        {1709251199000000, 1, "2024-03-01 00:00:00.000 +0000"},
        {1735689599000000, 19800, "2025-01-01 05:29:59.000 +0530"},
        {1735689600000000, -12600, "2024-12-31 20:30:00.000 -0330"},
        {2147483648000000, 0, "2038-01-19 03:14:08.000 +0000"},
        {4107542400000000, 0, "2100-03-01 00:00:00.000 +0000"},
        {253402300800000000, 0, "10000-01-01 00:00:00.000 +0000"},
    };
    for (const auto& [microseconds, zone, expected] : cases) {
        char out[ostrel::log::kStampCapacity];
        const std::size_t length =
            ostrel::log::formatStamp({microseconds, zone, "vestad", 123}, out, sizeof out);
        EXPECT_EQ(std::string(out, length), std::string(expected) + " vestad[123]: ");
    }
}

}  // namespace
