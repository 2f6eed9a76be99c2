#include "apsim/road.h"

#include "apsim/road_player.h"
#include "e2e/daemon_test.h"

namespace apsim {
namespace {

using ::testing::HasSubstr;

Json anna() {
    return Json::parse(R"({"stations": [{"name": "anna", "interface": "wlan0-va1",
        "mac": "02:00:00:00:00:0A", "ip": "10.1.0.5"}], "events": [
            {"station": "anna", "do": "arrive"}]})");
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

TEST(RoadTest, NamesFileAndPlaceOfEveryMistake) {
    const struct {
        const char* place;  // what of the road gets `value`
        const char* value;
        const char* error;
    } cases[] = {
        {"/events/1", R"({"station": "anna", "do": "fly"})", "(\"fly\"): is no known event"},
        {"/events/1", R"("arrive")", "event 2: has no text \"do\""},
        {"/events/0/station", R"("bert")", "event 1 (\"arrive\"): knows no station \"bert\""},
        {"/events/0/when", "1", "event 1 (\"arrive\"): knows no \"when\""},
        {"/events/0/at", "-1", "\"at\" must be a number"},
        {"/events/1", R"({"do": "leave"})", "\"station\" is missing"},
        {"/events/1", R"({"station": "anna", "do": "traffic", "rx": 1})", "\"tx\" is missing"},
        {"/events/1", R"({"station": "anna", "do": "expect", "client": "gone"})", "or \"absent\""},
        {"/events/1", R"({"station": "anna", "do": "expect", "radius": {}})", "no object \"radius"},
        {"/stations", "5", "has no array \"stations\""},
        {"/stations/0/mac", R"("02-00-00-00-00-0A")", "station 1 (\"anna\"): \"mac\" is no MAC"},
        {"/stations/0/ip", R"("0.0.0.0")", "station 1 (\"anna\"): \"ip\" is no IPv4 address"},
        {"/radius", R"({"secret": "s", "users": {"anna": 5}})", "\"radius\": "},
        {"/radius", R"({"secret": "s", "stations": {"02:00": 5}})", "no MAC address"},
        {"/radius", R"({"secret": "s", "stations": {"02:00:00:00:00:01": {}}})", "known"}};
    for (const auto& one : cases) {
        Json road = anna();
        road[Json::json_pointer(one.place)] = Json::parse(one.value);
        const std::string said = errorOf([&] { parseRoad(road, "r.json"); });
        EXPECT_THAT(said, ::testing::StartsWith("r.json: "));
        EXPECT_THAT(said, HasSubstr(one.error));
    }
}

TEST(RoadTest, NamesAnInterfaceThatTheConfigurationLacks) {
    Json road = anna();
    road["events"][0] = {{"station", "anna"}, {"do", "roam"}, {"interface", "wlan1-va1"}};
    const auto said = [walk = parseRoad(road, "r.json")](const std::set<std::string>& interfaces) {
        return errorOf([&] { checkInterfaces(walk, interfaces, "r.json"); });
    };
    EXPECT_THAT(said({"wlan1-va1"}), HasSubstr("has no interface wlan0-va1"));
    EXPECT_THAT(said({"wlan0-va1"}), HasSubstr("has no interface wlan1-va1"));
    EXPECT_EQ(said({"wlan0-va1", "wlan1-va1"}), "");
}

TEST(InputTest, NamesTheFileThatIsMissingOrNoJson) {
    const ostrel::testing::TempDirectory directory;
    const std::pair<const char*, const char*> cases[] = {{"{\"stations\": [}", "x.json: "},
                                                         {"[]", "x.json: holds no JSON object"}};
    const auto said = [&] { return errorOf([&] { loadJsonObject(directory.path("x.json")); }); };
    EXPECT_THAT(said(), HasSubstr("x.json: can't be read: No such file"));
    for (const auto& [text, error] : cases) {
        ostrel::testing::writeFile(directory.path("x.json"), text);
        EXPECT_THAT(said(), HasSubstr(error));
    }
}

class RoadPlayerTest : public vesta::testing::DaemonTest {};

// One station for each expectation that the daemon disappoints; all log in before.
TEST_F(RoadPlayerTest, NamesTheExpectationThatFailed) {
    const std::pair<const char*, const char*> cases[] = {
        {R"({"redirector": "drop"})", "redirector has it authed, not drop after 0 s"},
        {R"({"blocked": ["8.8.8.8"]})", "it reaches 8.8.8.8"},
        {R"({"shaper": {"transmit": 5}})", "shaper was given no limits"},
        {R"({"wifi-auth": {"username": "x"}})", "wifi-auth has username \"anna\", not x"},
        {R"({"trap": "cp-drop"})", "no trap cp-drop"},
        {R"({"deauth": true})", "deauth-client was not run"},
        {R"({"radius": {"stop": "cause 1"}})", "RADIUS saw no stop with \"cause 1\""},
        {R"({"state": "unknown"})", "validate-ip still knows it"},
        {R"({"state": {"ssid": "x"}})", "validate-ip has ssid Guest, not x"},
        {R"({"client": "absent"})", "the daemon still has it"},
        {R"({"client": {"status": "x"}})", "the daemon has status connected, not x"},
        {R"({"client": {"session-time": {"at-least": 99}}})", "not {\"at-least\":99}"}};
    Json document = config(7);
    document["interface"][0]["vap"]["captive-portal"]["verification-mode"] = "local";
    serve(document);
    Json road{{"radius", {{"secret", "s"}}}};
    for (const auto& [expectation, failure] : cases) {
        const std::string number = std::to_string(10 + road["stations"].size());
        road["stations"].push_back({{"name", number},
                                    {"interface", "wlan0-va1"},
                                    {"mac", "02:00:00:00:00:" + number},
                                    {"ip", "10.1.0." + number}});
        Json events = Json::parse(R"([{"do": "arrive"}, {"do": "expect", "redirector": "unauthed",
            "blocked": ["8.8.8.8"]}, {"do": "login", "login": "anna", "password": "x"},
            {"do": "expect", "redirector": "authed", "wifi-auth": {"cp-auth-result": "1"}},
            {"do": "expect", "within": 0}, {"do": "arrive"}])");
        events[4].update(Json::parse(expectation));
        for (Json& event : events) {
            event["station"] = number;
            road["events"].push_back(event);
        }
    }
    const auto results = RoadPlayer({accessPoint_.get()}).play(parseRoad(road, "r.json"));
    for (std::size_t index = 0; index < results.size(); ++index) {
        EXPECT_THAT(results[index].failure, HasSubstr(cases[index].second));
        EXPECT_EQ(results[index].happened, "unauthed, authed");
    }
    EXPECT_EQ(accessPoint_->associations().size(), 0U) << "nothing is played behind a failure";
}

TEST_F(RoadPlayerTest, AStoppedRoadEndsAtOnceAndIsNotAsExpected) {
    putUp(config(7));
    RoadPlayer player({accessPoint_.get()});
    player.stop();
    Json road = anna();
    road["events"][0]["at"] = 3600;
    EXPECT_EQ(player.play(parseRoad(road, "r.json")).at(0).failure, "stopped");
}

}  // namespace
}  // namespace apsim
