#include <sys/stat.h>

#include "daemon_test.h"

namespace vesta::testing {
namespace {

using apsim::Json;
using std::filesystem::exists;
using ::testing::HasSubstr;

class LifecycleTest : public DaemonTest {
protected:
    std::optional<int> end() {
        kill(daemon_.pid(), SIGTERM);
        return daemon_.waitForEnd();
    }
    Json firstInstance() {
        const auto answer = accessPoint_->portal().status();
        return answer ? (*answer)["value"]["instances"]["0"] : Json();
    }
};

TEST_F(LifecycleTest, WaitsForItsConfigurationThenServesUntilItIsEnded) {
    start();
    ASSERT_TRUE(daemon_.waitForText("waiting for the configuration from module 1 on " +
                                    directory_.path() + "/bus/1\n"));
    putUp(config(7));
    ASSERT_TRUE(accessPoint_->waitForDaemon(std::chrono::seconds(30)));

    EXPECT_EQ(ostrel::testing::readFile(pidFile()), std::to_string(daemon_.pid()));
    EXPECT_EQ(firstInstance(),
              Json::parse(R"({"ssid": "Guest", "radius-domain": "", "mobility-domain": "hall"})"));
    EXPECT_EQ(end(), 0);
    EXPECT_FALSE(exists(pidFile()));
    EXPECT_EQ(logged("|Started").size(), 1U);
}

TEST_F(LifecycleTest, EndsBesideALivingDaemonAndTakesThePidFileOfADeadOne) {
    const mode_t before = umask(0077);
    serve(config(7));
    umask(before);
    struct stat status {};
    ASSERT_EQ(stat(pidFile().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0644U);

    ChildProcess second;
    second.start(isolated(VESTAD_PROGRAM, runDirectory()), ChildProcess::Output::heard);
    EXPECT_EQ(second.waitForEnd(), 1);
    EXPECT_THAT(second.said(), HasSubstr("another process listens"));

    const RuntimeDirectory elsewhere;
    apsim::AccessPoint another(config(7));
    const auto serveElsewhere = [&] {
        const std::uint64_t answers = another.monitord().answers();
        const std::uint32_t gone = another.redirector().notifyPid();
        second.start(isolated(VESTAD_PROGRAM, runDirectory()));
        ASSERT_TRUE(another.waitForDaemon(std::chrono::seconds(30), gone));
        ASSERT_TRUE(another.monitord().waitForAnswers(answers + 1, std::chrono::seconds(30)));
    };
    serveElsewhere();
    EXPECT_EQ(second.end(SIGTERM), 0);
    EXPECT_EQ(ostrel::testing::readFile(pidFile()), std::to_string(daemon_.pid()));
    daemon_.end(SIGKILL);
    serveElsewhere();
    EXPECT_EQ(ostrel::testing::readFile(pidFile()), std::to_string(second.pid()));
    // What is not its own any more stays.
    std::filesystem::remove(pidFile());
    std::ofstream(pidFile()) << "1";
    EXPECT_EQ(second.end(SIGTERM), 0);
    EXPECT_EQ(ostrel::testing::readFile(pidFile()), "1");
}

TEST_F(LifecycleTest, IsKilledByASignalWhileItWaits) {
    start();
    ASSERT_TRUE(daemon_.waitForText("waiting"));
    EXPECT_EQ(end(), -SIGTERM);
}

TEST_F(LifecycleTest, TakesTheUplinkAndTheLocationFromItsOptions) {
    Json document = config(7);
    document["captive-portal"].erase("uplink-interface");
    serve(document, {"-x", "word", "-l", "Attic", "-i", "eth1", "-l", "Hall", "-i"});
    EXPECT_EQ(firstInstance()["mobility-domain"], "Hall");
    EXPECT_EQ(end(), 0);
    // What it ignores it ignores silently.
    EXPECT_EQ(daemon_.said().find("option"), std::string::npos) << daemon_.said();
}

TEST_F(LifecycleTest, ServesWithoutAPidFileAndWithoutALog) {
    std::filesystem::create_directory(pidFile());
    serve(config(1));
    EXPECT_EQ(end(), 0);
    EXPECT_TRUE(exists(pidFile()));
    EXPECT_THAT(logged("could not create PID-file(/var/run/vestad.pid)"), ::testing::SizeIs(1));
    std::filesystem::remove(pidFile());

    // Neither a pipe that nobody reads nor the file behind a link is written to, or removed.
    const std::string target = directory_.path("target");
    std::ofstream(target) << "x";
    ASSERT_EQ(mkfifo(pidFile().c_str(), 0600), 0);
    serve(config(1));
    EXPECT_EQ(end(), 0);
    EXPECT_TRUE(std::filesystem::is_fifo(pidFile()));
    std::filesystem::remove(pidFile());
    std::filesystem::create_symlink(target, pidFile());
    serve(config(1));
    EXPECT_EQ(end(), 0);
    EXPECT_TRUE(std::filesystem::is_symlink(pidFile()));
    EXPECT_EQ(ostrel::testing::readFile(target), "x");
    std::filesystem::remove(pidFile());

    Json document = config(7);
    document["captive-portal"]["logfile"] = "/dev/full";
    serve(document);
    EXPECT_EQ(firstInstance()["ssid"], "Guest");
    EXPECT_EQ(end(), 0);
    EXPECT_FALSE(exists(pidFile()));
}

// The document's other required keys are the unit tests'.
TEST_F(LifecycleTest, EndsWithTheReasonWhereItCannotServe) {
    const struct {
        const char* place;  // what of the document is another
        const char* value;
        const char* reason;  // said, or logged
    } cases[] = {
        {"/captive-portal/logfile", "null", "\"logfile\""},
        {"/captive-portal/loglevel", "null", "\"loglevel\""},
        {"/interface/0/vap/captive-portal/verification-mode", "null", "wlan0-va1"},
        {"/interface/0/common/enabled", "false", "Vap's for listen not founded. End now."}};
    for (const auto& [place, value, reason] : cases) {
        Json document = config(1);
        document[Json::json_pointer(place)] = Json::parse(value);
        putUp(document);
        start();
        EXPECT_EQ(daemon_.waitForEnd(), 1) << place;
        EXPECT_THAT(daemon_.said() + ostrel::testing::readFile(logFile()), HasSubstr(reason));
    }
}

TEST_F(LifecycleTest, SaysWhyItHasNoBus) {
    const std::string notADirectory = directory_.path() + "/file";
    std::ofstream(notADirectory) << "x";
    setenv("OSTREL_RUNTIME_DIR", notADirectory.c_str(), 1);
    start();
    EXPECT_EQ(daemon_.waitForEnd(), 1);
    EXPECT_THAT(daemon_.said(), HasSubstr(notADirectory));
}

}  // namespace
}  // namespace vesta::testing
