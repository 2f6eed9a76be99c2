#include "apsim/road.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "apsim/load.h"
#include "apsim/road_player.h"
#include "platform/support.h"
#include "support/runtime_directory.h"
#include "tools/fake_daemon.h"

namespace apsim {
namespace {

using ::testing::HasSubstr;

Json document(const std::string& events) {
    Json all = Json::parse(R"({"stations": [{"name": "anna", "interface": "wlan0-va1",
        "mac": "02:00:00:00:00:0A", "ip": "10.1.0.5", "story": "gets in"}]})");
    all["events"] = Json::parse(events);
    return all;
}

// What an InputError says; "" without one.
std::string errorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const InputError& error) {
        return error.what();
    }
    return "";
}

TEST(RoadTest, NamesFileAndEventOfEveryMistake) {
    const std::pair<const char*, const char*> cases[] = {
        {R"({"station": "anna", "do": "fly"})", "event 2 (\"fly\"): is no known event"},
        {R"({"station": "anna"})", "event 2: has no text \"do\""},
        {R"("arrive")", "event 2: has no text \"do\""},
        {R"({"do": "leave"})", "event 2 (\"leave\"): \"station\" is missing"},
        {R"({"station": "bert", "do": "leave"})", "knows no station \"bert\""},
        {R"({"station": "anna", "do": "leave", "when": 1})", "knows no \"when\""},
        {R"({"station": "anna", "do": "leave", "at": "1"})", "\"at\" must be a number"},
        {R"({"station": "anna", "do": "leave", "at": -1})", "\"at\" must be a number"},
        {R"({"station": "anna", "do": "traffic", "rx": 1})", "\"tx\" is missing"},
        {R"({"station": "anna", "do": "expect", "redirector": "auth"})", "must be \"unauthed"},
        {R"({"station": "anna", "do": "expect", "client": "gone"})", "or \"absent\""},
        {R"({"station": "anna", "do": "radius-disconnect", "by": "mac"})", "no object"},
        {R"({"station": "anna", "do": "expect", "radius": {}})", "no object \"radius\""}};
    for (const auto& [event, error] : cases) {
        const Json road =
            document(std::string(R"([{"station": "anna", "do": "arrive"},)") + event + "]");
        const std::string said = errorOf([&] { parseRoad(road, "r.json"); });
        EXPECT_THAT(said, HasSubstr("r.json: event 2"));
        EXPECT_THAT(said, HasSubstr(error));
    }
}

TEST(RoadTest, NamesTheMistakeInAStationOrInTheRadiusServersBook) {
    const struct {
        const char* place;
        Json value;
        const char* error;
    } cases[] = {
        {"/stations/0/mac", "02:00:00:00:00", "station 1 (\"anna\"): \"mac\" is no MAC address"},
        {"/stations/0/ip", "10.1.0", "station 1 (\"anna\"): \"ip\" is no IPv4 address"},
        {"/radius/users", Json::object(), "secret"},
        {"/radius", {{"secret", "s"}, {"users", {{"anna", 5}}}}, "\"radius\": "},
        {"/radius", {{"secret", "s"}, {"stations", {{"02:00", 5}}}}, "no MAC address"},
        {"/radius",
         {{"secret", "s"}, {"stations", {{"02:00:00:00:00:01", Json::object()}}}},
         "known"}};
    for (const auto& one : cases) {
        Json road = document("[]");
        road[Json::json_pointer(one.place)] = one.value;
        const std::string said = errorOf([&] { parseRoad(road, "r.json"); });
        EXPECT_THAT(said, ::testing::StartsWith("r.json: "));
        EXPECT_THAT(said, HasSubstr(one.error));
    }
}

TEST(RoadTest, NamesAnInterfaceThatTheConfigurationLacks) {
    const Road walk = parseRoad(
        document(R"([{"station": "anna", "do": "roam", "interface": "wlan1-va1"}])"), "r.json");
    EXPECT_THROW(checkInterfaces(walk, {"wlan1-va1"}, "r.json"), InputError);
    EXPECT_THROW(checkInterfaces(walk, {"wlan0-va1"}, "r.json"), InputError);
    EXPECT_NO_THROW(checkInterfaces(walk, {"wlan0-va1", "wlan1-va1"}, "r.json"));
}

TEST(InputTest, NamesTheFileThatIsMissingOrNoJson) {
    const ostrel::testing::TempDirectory directory;
    ostrel::testing::writeFile(directory.path("bad.json"), "{\"stations\": [}");
    ostrel::testing::writeFile(directory.path("list.json"), "[]");
    for (const auto& [name, error] :
         {std::pair("none.json", "none.json: can't be read: No such file"),
          {"bad.json", "bad.json: "},
          {"list.json", "list.json: holds no JSON object"}}) {
        EXPECT_THAT(errorOf([&, file = name] { loadJsonObject(directory.path(file)); }),
                    HasSubstr(error));
    }
}

class RoadPlayerTest : public ::testing::Test {
protected:
    StationResult play(const std::string& events) {
        Json all = document(events);
        all["radius"] = {{"secret", "s"}};
        return RoadPlayer({&accessPoint_}).play(parseRoad(all, "r.json")).at(0);
    }

    vesta::testing::RuntimeDirectory runtime_;
    AccessPoint accessPoint_{Json::object()};
    // Lets a station in at its login, and knows it from then on.
    bool known_ = false;
    FakeDaemon* self_ = nullptr;
    FakeDaemon daemon_{{{"validate",
                         [this](const std::string& request) {
                             known_ = true;
                             self_->letAnnaIn();
                             return answer(request, {{"result", 1}});
                         }},
                        {"validate-ip",
                         [this](const std::string& request) {
                             return answer(request, {{"result", known_ ? 1 : 0},
                                                     {"params", {{"cur-state", "session-end"}}}});
                         }},
                        {"get", [](const std::string& request) {
                             return answer(request, Json::parse(R"({"value": {"clients": {"0":
                  {"mac": "02:00:00:00:00:0a", "interface": "wlan0-va1", "login": "anna",
                   "session-time": 7}}}})"));
                         }}}};

    static std::string answer(const std::string& request, Json text) {
        text["context"] = Json::parse(request)["context"];
        return text.dump();
    }

    void SetUp() override { self_ = &daemon_; }
};

TEST_F(RoadPlayerTest, TellsWhatHappenedToAStationThatMetItsExpectations) {
    const StationResult result = play(R"([
        {"station": "anna", "do": "arrive"},
        {"station": "anna", "do": "expect", "redirector": "forgotten", "state": "unknown"},
        {"station": "anna", "do": "login", "login": "anna", "password": "x"},
        {"station": "anna", "do": "expect", "redirector": "authed", "reaches": ["8.8.8.8"],
         "state": {"cur-state": "session-end"}, "client": {"login": "anna", "session-time": {"at-least": 7}},
         "shaper": "none"}])");
    EXPECT_EQ(result.failure, "");
    EXPECT_EQ(result.happened, "authed");
    EXPECT_EQ(result.expected, "gets in");
}

TEST_F(RoadPlayerTest, NamesTheExpectationThatFailed) {
    const std::pair<const char*, const char*> cases[] = {
        {R"("redirector": "drop")", "redirector has it authed, not drop after 0 s"},
        {R"("blocked": ["8.8.8.8"])", "it reaches 8.8.8.8"},
        {R"("shaper": {"transmit": 5})", "shaper was given no limits"},
        {R"("wifi-auth": {"username": "anna"})", "wifi-auth has username \"\", not anna"},
        {R"("trap": "cp-deauth")", "no trap cp-deauth"},
        {R"("deauth": true)", "deauth-client was not run"},
        {R"("state": "unknown")", "validate-ip still knows it"},
        {R"("state": {"cur-state": "x"})", "validate-ip has cur-state session-end, not x"},
        {R"("radius": {"stop": "cause 1"})", "RADIUS saw no stop with \"cause 1\""},
        {R"("client": "absent")", "the daemon still has it"},
        {R"("client": {"status": "x"})", "the daemon has status missing, not x"},
        {R"("client": {"session-time": {"at-least": 8}})", "has session-time 7, not"}};
    for (const auto& [expectation, failure] : cases) {
        const StationResult result =
            play(std::string(R"([{"station": "anna", "do": "login", "login": "a", "password": "x"},
                {"station": "anna", "do": "expect", "within": 0, )") +
                 expectation + R"(}, {"station": "anna", "do": "arrive"}])");
        EXPECT_THAT(result.failure, HasSubstr(failure));
        EXPECT_EQ(accessPoint_.associations().size(), 0U);  // nothing was played behind it
    }
}

TEST_F(RoadPlayerTest, AStationRoamsToTheAccessPointThatHasTheInterface) {
    const ostrel::testing::TempDirectory garden;
    AccessPointOptions options;
    options.log = &accessPoint_.events();
    options.runtimeDirectory = garden.path();
    AccessPoint second(Json::parse(R"({"interface": [{"name": "garden-va1"}]})"), options);
    RoadPlayer player({&accessPoint_, &second});
    const Road road = parseRoad(document(R"([
        {"station": "anna", "do": "login", "login": "anna", "password": "x"},
        {"station": "anna", "do": "roam", "interface": "garden-va1"},
        {"station": "anna", "do": "expect", "redirector": "forgotten"},
        {"station": "anna", "do": "kill-daemon"}])"),
                                "r.json");
    EXPECT_EQ(player.play(road).at(0).failure, "there is no daemon to kill");
    const Event roam = *accessPoint_.events().waitFor(
        [](const Event& event) { return event.what == "roam"; }, Milliseconds(0));
    EXPECT_EQ(roam.station.interface, "garden-va1");
    EXPECT_TRUE(second.events().waitFor(Party::station, "packet", roam.station, Milliseconds(0)));
    EXPECT_EQ(second.modules().pendingNotifications(), 1U);
    EXPECT_EQ(accessPoint_.associations().size(), 0U);
}

TEST_F(RoadPlayerTest, AStoppedRoadEndsAtOnceAndCountsAsFailed) {
    RoadPlayer player({&accessPoint_});
    player.stop();
    const Road road =
        parseRoad(document(R"([{"station": "anna", "do": "arrive", "at": 3600}])"), "r.json");
    EXPECT_EQ(player.play(road).at(0).failure, "stopped");
}

TEST(PercentileTest, IsTheSmallestValueThatEnoughLieAtOrBelow) {
    EXPECT_EQ(percentile({}, 0.5), 0);
    EXPECT_EQ(percentile({7}, 0.99), 7);
    EXPECT_EQ(percentile({1, 2, 3, 4}, 0.5), 2);
    EXPECT_EQ(percentile({1, 2, 3, 4}, 0.51), 3);
    EXPECT_EQ(percentile({1, 2, 3, 4}, 1), 4);
}

}  // namespace
}  // namespace apsim
