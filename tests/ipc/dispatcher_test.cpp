#include "portal_fixture.h"
#include "requests/portal_client.h"
#include "support/bus_peer.h"

namespace vesta::testing {
namespace {

constexpr const char* kAnna = "02:00:00:00:00:01";
constexpr const char* kBert = "02:00:00:00:00:02";
constexpr int kPeer = 77;

class DispatcherTest : public PortalFixture {
protected:
    DispatcherTest()
        : PortalFixture(vapText("wlan0-va1", "Guest", "portal") + "," +
                        vapText("wlan0-va2", "Staff", "portal")) {}

    json scenarios(const std::string& request) {
        return jsonOf(listener_.handleVestadStateScenarios(message(request)))["value"];
    }

    BusPeer peer_{static_cast<ipc_module_t>(kPeer), {"get-response"}};
};

TEST_F(DispatcherTest, AnswersARequestThatFails) {
    constexpr const char* kUnreadable =
        "{    \"command\": \"get-response\",    \"result\": 0,    \"error\": \"IPCListener failed "
        "on parse message\"}";
    constexpr const char* kTooLong =
        "{    \"command\": \"get-response\",    \"result\": 0,    \"error\": \"IPCListener "
        "failed on make anything!\"}";
    const std::string longContext(17 * 1024 * 1024, 'x');
    const struct {
        std::string request;
        void (IPCEventListener::*adapter)(void*, void*, int);
        const char* answer;
    } rows[] = {{"{no json", &IPCEventListener::ipcHandleVestadState, kUnreadable},
                {"[1]", &IPCEventListener::ipcHandleVestadState, kUnreadable},
                {R"({"context": 7})", &IPCEventListener::ipcHandleGetRedirectParams, kUnreadable},
                {R"({"interface": "w"})", &IPCEventListener::ipcHandleDelClient, kUnreadable},
                {R"({"params": []})", &IPCEventListener::ipcHandleValidate, kUnreadable},
                {R"({"context": ")" + longContext + "\"}", &IPCEventListener::ipcHandleVestadState,
                 kTooLong}};
    for (const auto& [request, adapter, answer] : rows) {
        (listener_.*adapter)(std::string(request).data(), nullptr, kPeer);
        EXPECT_EQ(peer_.next(), answer) << request.substr(0, 40);
    }
    // Beyond the bounds of the bus there is no text, but what is answered to.
    const auto outline = message(R"({"command": "get", "context": {"a": [7]}})");
    listener_.ipcHandleVestadState(nullptr, outline->getRowMessage(), kPeer);
    const json refusal = json::parse(peer_.next());
    EXPECT_EQ(refusal["error"], "IPCListener failed on parse message");
    EXPECT_EQ(refusal["context"], json::parse(R"({"a": [7]})"));
}

TEST_F(DispatcherTest, DividesALongAnswerAndToolsPutItTogether) {
    constexpr int kStations = 20;
    constexpr std::size_t kFrameBytes = 2000;
    for (int i = 10; i < 10 + kStations; ++i) {
        arrive("02:00:00:00:00:" + std::to_string(i), "10.0.0." + std::to_string(i));
    }
    IPCEventListener listener(portal_, nullptr, ipc_, kFrameBytes);
    const struct {
        void (IPCEventListener::*adapter)(void*, void*, int);
        json::json_pointer stations;
    } rows[] = {{&IPCEventListener::ipcHandleVestadState, json::json_pointer("/value/clients")},
                {&IPCEventListener::ipcHandleVestadStateScenarios, json::json_pointer("/value")}};
    for (const auto& [adapter, stations] : rows) {
        (listener.*adapter)(std::string(R"({"context": "mine"})").data(), nullptr, kPeer);
        json all = json::object();
        std::size_t told = 0;
        std::size_t instances = 0;
        json frame;
        do {
            frame = peer_.next("get-response");
            ASSERT_EQ(frame["result"], 1);
            EXPECT_EQ(frame["context"], "mine");
            EXPECT_LT(frame.dump().size(), kFrameBytes);
            told += frame[stations].size();
            all.update(frame[stations]);
            instances += frame["value"].value("instances", json::object()).size();
        } while (frame["more"] == true);
        EXPECT_EQ(told, kStations);
        EXPECT_EQ(all.size(), kStations);
        EXPECT_EQ(all[std::to_string(kStations - 1)]["ip"], "10.0.0.29");
        EXPECT_EQ(instances, stations.to_string() == "/value" ? 0 : 2);
    }
    ASSERT_TRUE(listener.run());
    tools::PortalClient tool;
    EXPECT_EQ((*tool.status())["value"]["clients"], clients());
    EXPECT_EQ((*tool.scenarios())["value"], scenarios("{}"));
    listener.stop();
    listener.join();
}

TEST_F(DispatcherTest, StopsAlsoBeforeItHasBegunToListen) {
    ASSERT_TRUE(listener_.run());
    listener_.stop();
    listener_.join();
}

TEST_F(DispatcherTest, KnowsAStationByItsSsidAndByItsInterface) {
    arrive(kAnna, "10.0.0.1", "wlan0-va1");
    arrive(kAnna, "10.0.0.2", "wlan0-va2");
    arrive(kBert, "10.0.0.3", "wlan0-va2");

    const json one = scenarios(R"({"mac": "02:00:00:00:00:01", "ssid": "Staff"})");
    ASSERT_EQ(one.size(), 1U);
    EXPECT_EQ(one["0"]["ip"], "10.0.0.2");
    EXPECT_TRUE(one["0"].contains("scenario"));
    EXPECT_EQ(scenarios(R"({"mac": "02:00:00:00:00:02", "ssid": "Guest"})"), json::object());
    EXPECT_EQ(scenarios(R"({"mac": "02:00:00:00:00:01"})").size(), 3U);
    EXPECT_EQ(scenarios(R"({"mac": "", "ssid": "Guest"})").size(), 3U);
    EXPECT_EQ(scenarios("{}")["2"]["mac"], kBert);

    listener_.handleDelClient(message(R"({"interface": "wlan0-va2", "mac": "02:00:00:00:00:01"})"));
    const json left = clients();
    ASSERT_EQ(left.size(), 2U);
    EXPECT_EQ(left["0"]["ip"], "10.0.0.1");
    EXPECT_EQ(left["1"]["ip"], "10.0.0.3");
}

}  // namespace
}  // namespace vesta::testing
