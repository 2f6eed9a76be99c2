#include <signal.h>

#include <filesystem>
#include <fstream>

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
    // Runs a daemon that can't start; its end.
    std::optional<int> startWith(const Json& document) {
        putUp(document);
        start();
        return daemon_.waitForEnd();
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

TEST_F(LifecycleTest, RunsWithoutAPidFileWhereItCannotWriteOne) {
    std::filesystem::create_directory(pidFile());
    serve(config(1));
    EXPECT_EQ(end(), 0);
    EXPECT_TRUE(exists(pidFile()));
    EXPECT_THAT(
        logged("PID-file"),
        ::testing::ElementsAre(HasSubstr("could not create PID-file(/var/run/vestad.pid)")));
}

TEST_F(LifecycleTest, ServesWhenTheDiskUnderTheLogIsFull) {
    Json document = config(7);
    document["captive-portal"]["logfile"] = "/dev/full";
    serve(document);
    EXPECT_EQ(firstInstance()["ssid"], "Guest");
    EXPECT_EQ(end(), 0);
    EXPECT_FALSE(exists(pidFile()));
}

TEST_F(LifecycleTest, NamesTheKeyWithoutWhichItCannotLog) {
    for (const char* key : {"logfile", "loglevel", "logfile-limit"}) {
        SCOPED_TRACE(key);
        Json document = config(7);
        document["captive-portal"].erase(key);
        EXPECT_EQ(startWith(document), 1);
        EXPECT_THAT(daemon_.said(), HasSubstr("\"" + std::string(key) + "\""));
        EXPECT_FALSE(exists(pidFile()));
    }
}

TEST_F(LifecycleTest, NamesTheKeyWithoutWhichItCannotServe) {
    Json document = config(1);
    document["interface"][0]["vap"]["captive-portal"].erase("verification-mode");
    EXPECT_EQ(startWith(document), 1);
    EXPECT_THAT(logged("verification-mode"), ::testing::ElementsAre(HasSubstr("wlan0-va1")));
    EXPECT_THAT(logged("Unhandled exception. Exit."), ::testing::SizeIs(1));
}

TEST_F(LifecycleTest, EndsWhereThereIsNoVapToServe) {
    Json document = config(1);
    document["interface"][0]["common"]["enabled"] = false;
    EXPECT_EQ(startWith(document), 1);
    EXPECT_THAT(logged("Vap's"),
                ::testing::ElementsAre("|ERROR|Vap's for listen not founded. End now."));
    EXPECT_TRUE(exists(pidFile()));
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
