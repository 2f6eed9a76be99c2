// Taking a place on the bus, the first configuration, and the end.

#include <json-c/json.h>
#include <sys/stat.h>

#include <filesystem>
#include <future>
#include <thread>

#include "bus_fixture.h"

namespace ostrel::bus {
namespace {

class StartTest : public BusTest {
protected:
    static mode_t modeOf(const std::string& path) {
        struct stat status {};
        EXPECT_EQ(stat(path.c_str(), &status), 0);
        return status.st_mode & 07777;
    }

    void expectRefused(const std::string& named) {
        try {
            const IpcInterface bus(kServer, false, 50);
            FAIL() << "took its place";
        } catch (const std::runtime_error& problem) {
            EXPECT_THAT(problem.what(), HasSubstr(named));
        }
    }
};

TEST_F(StartTest, OpensThePlaceToTheGroupAloneWhateverTheUmask) {
    const mode_t before = umask(0);
    for (const mode_t mask : {0077U, 0U}) {
        umask(mask);
        const IpcInterface bus(kServer, false, 50);
        EXPECT_EQ(modeOf(runtime_.path("bus")), 0750U);
        EXPECT_EQ(modeOf(path(kServer)), 0660U);
    }
    umask(before);
    EXPECT_FALSE(std::filesystem::exists(path(kServer)));
}

TEST_F(StartTest, LeavesALivingProcessItsSocketAndNamesWhatIsInTheWay) {
    const RawModule living(kServer);
    expectRefused(path(kServer));
    EXPECT_TRUE(std::filesystem::exists(path(kServer)));
    setenv("OSTREL_RUNTIME_DIR", "/proc/nowhere", 1);
    expectRefused("/proc/nowhere/bus");
}

TEST_F(StartTest, LeavesTheSocketOfItsSuccessor) {
    auto first = std::make_unique<IpcInterface>(kServer, false, 50);
    std::filesystem::remove(path(kServer));
    const IpcInterface second(kServer, false, 50);
    first.reset();
    EXPECT_TRUE(std::filesystem::exists(path(kServer)));
}

TEST_F(StartTest, MakesASocketAgainThatWasRemovedWithItsDirectory) {
    const IpcInterface bus(kServer, false, 5);
    std::filesystem::remove_all(runtimeDirectory());
    const std::string path = addressOf(kServer).sun_path;
    while (!std::filesystem::exists(path)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    RawPeer::connectedTo(kServer);
}

TEST_F(StartTest, AsksForTheConfigurationUntilItComes) {
    RawModule manager(1);
    IpcInterface bus(kServer, false, 50);
    auto waiting = std::async(std::launch::async, [&] { return bus.receive_initial_config(); });
    RawPeer peer = manager.accept();
    for (int i = 0; i < 2; ++i) {
        EXPECT_THAT(peer.readFrame(), Pair(kServer, R"({"command": "get-initial-config"})"));
    }
    RawPeer other = RawPeer::connectedTo(kServer);
    other.write(handMadeFrame(9, R"({"cmd":"kept"})"));
    other.write(handMadeFrame(9, R"({"command":"initial-config","config":[]})"));
    other.write(handMadeFrame(9, R"({"command":"initial-config","config":{"a":1,},})"));
    auto* const config = static_cast<json_object*>(waiting.get());
    EXPECT_STREQ(json_object_to_json_string_ext(config, JSON_C_TO_STRING_PLAIN), R"({"a":1})");
    json_object_put(config);
    EXPECT_THAT(reports_.waitFor(1), ElementsAre(HasSubstr("module 9")));
    other.write(handMadeFrame(9, R"({"cmd":"later"})"));
    const Worker worker(bus, {{"kept", note()}, {"later", note()}});
    EXPECT_THAT(received_.waitFor(2),
                ElementsAre(Message{R"({"cmd":"kept"})", 9}, Message{R"({"cmd":"later"})", 9}));
}

TEST_F(StartTest, StopEndsWaitingNowAndLater) {
    IpcInterface bus(kServer, false, 50);
    auto waiting = std::async(std::launch::async, [&] { return bus.receive_initial_config(); });
    auto processing = std::async(std::launch::async, [&] { bus.process({}); });
    bus.stop();
    EXPECT_EQ(waiting.get(), nullptr);
    processing.get();
    bus.process({});
    EXPECT_EQ(bus.receive_initial_config(), nullptr);
}

}  // namespace
}  // namespace ostrel::bus
