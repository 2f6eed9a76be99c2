#include <string>
#include <utility>

#include "core/temporary_log.h"
#include "portal_fixture.h"
#include "support/bus_peer.h"

namespace vesta::testing {
namespace {

constexpr const char* kAnna = "02:00:00:00:00:01";
constexpr const char* kBert = "02:00:00:00:00:02";
constexpr int kPeer = 77;

std::string vapWithUrl(const std::string& interface, const std::string& url) {
    return vapText(
        interface, "Guest", "portal",
        R"({"access-type": "forbid", "name": "login", "redirect-url": ")" + url +
            R"(", "virtual-portal-name": "main", "auth-scenario": "", "white-list": ""})");
}

class DispatcherTest : public PortalFixture {
protected:
    DispatcherTest()
        : PortalFixture(vapText("wlan0-va1", "Guest", "portal") + "," +
                        vapText("wlan0-va2", "Staff", "portal")) {}

    // Calls an adapter as the bus does.
    std::string answerTo(std::string request,
                         void (IPCEventListener::*adapter)(void*, void*, int)) {
        (listener_.*adapter)(request.data(), nullptr, kPeer);
        return peer_.next();
    }
    json scenarios(const std::string& request) {
        return jsonOf(listener_.handleVestadStateScenarios(message(request)))["value"];
    }

    BusPeer peer_{static_cast<ipc_module_t>(kPeer), {"get-response"}};
};

TEST_F(DispatcherTest, AnswersARequestThatCannotBeRead) {
    constexpr const char* kFailure =
        "{    \"command\": \"get-response\",    \"result\": 0,    \"error\": \"IPCListener failed "
        "on parse message\"}";
    const std::pair<const char*, void (IPCEventListener::*)(void*, void*, int)> cases[] = {
        {"{no json", &IPCEventListener::ipcHandleVestadState},
        {"[1]", &IPCEventListener::ipcHandleVestadState},
        {R"({"context": 7})", &IPCEventListener::ipcHandleGetRedirectParams},
        {R"({"interface": "wlan0-va1"})", &IPCEventListener::ipcHandleDelClient},
        {R"({"params": []})", &IPCEventListener::ipcHandleValidate}};
    for (const auto& [request, adapter] : cases) {
        EXPECT_EQ(answerTo(request, adapter), kFailure) << request;
    }
}

TEST_F(DispatcherTest, SaysSoWhereAnAnswerIsTooLongForTheBus) {
    const std::string context(17 * 1024 * 1024, 'x');
    EXPECT_EQ(
        answerTo(R"({"context": ")" + context + "\"}", &IPCEventListener::ipcHandleVestadState),
        "{    \"command\": \"get-response\",    \"result\": 0,    \"error\": \"IPCListener "
        "failed on make anything!\"}");
}

TEST_F(DispatcherTest, StopsAlsoBeforeItHasBegunToListen) {
    ASSERT_TRUE(listener_.run());
    listener_.stop();
    listener_.join();
}

TEST_F(DispatcherTest, DumpsTheScenariosOfTheStationOnTheNamedSsidOrOfAll) {
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
}

TEST_F(DispatcherTest, ThrowsOffTheStationOfTheNamedInterfaceAlone) {
    connect(kAnna, "10.0.0.1", "wlan0-va1");
    arrive(kAnna, "10.0.0.2", "wlan0-va2");
    listener_.handleDelClient(message(R"({"interface": "wlan0-va2", "mac": "02:00:00:00:00:01"})"));
    const json left = clients();
    ASSERT_EQ(left.size(), 1U);
    EXPECT_EQ(left["0"]["ip"], "10.0.0.1");
    EXPECT_FALSE(left["0"].contains("scenario"));
}

TEST_F(DispatcherTest, ReportsWhatApbdCouldNotDo) {
    const TemporaryLog log(2);
    listener_.handleAPBAddResponce(message(R"({"status": "failed"})"));
    listener_.handleAPBUpdateResponce(message(R"({"status": "failed"})"));
    listener_.handleAPBDeleteResponce(message(R"({"status": "failed"})"));
    listener_.handleAPBAddResponce(message(R"({"status": "success"})"));
    listener_.handleAPBSubscribeResponce(message(R"({"status": "failed"})"));
    EXPECT_EQ(log.records(),
              (TemporaryLog::Records{"|WARNING|Try to add client on apbd server was failed!",
                                     "|WARNING|Try to update client on apbd server was failed!",
                                     "|WARNING|Try to delete client on apbd server was failed!",
                                     "|WARNING|Try to connect to apbd server was failed!"}));
}

class RedirectParamsTest : public PortalFixture {
protected:
    RedirectParamsTest()
        : PortalFixture(vapWithUrl("wlan0-va1", "http://portal.example/login?x=1") + "," +
                        vapWithUrl("wlan0-va2", "http://portal.example") + "," +
                        vapWithUrl("wlan0-va3", "http://portal.example/") + "," +
                        vapWithUrl("wlan0-va4", "portal.example/login") + "," +
                        vapWithUrl("wlan0-va5", "")) {}
};

TEST_F(RedirectParamsTest, SendTheBrowserToTheProxyWithThePathOfThePortal) {
    const std::pair<const char*, const char*> cases[] = {{"wlan0-va1", "login?x=1"},
                                                         {"wlan0-va2", ""},
                                                         {"wlan0-va3", ""},
                                                         {"wlan0-va4", ""},
                                                         {"wlan0-va5", ""}};
    for (const auto& [interface, path] : cases) {
        SCOPED_TRACE(interface);
        connect(kAnna, std::string("10.0.0.") + interface[8], interface);
        const auto request =
            message(R"({"client": "10.0.0.)" + std::string(1, interface[8]) + "\"}");
        const json answer = jsonOf(listener_.handleGetRedirectParams(request));
        EXPECT_EQ(answer["command"], "get-redirect-params-response");
        EXPECT_EQ(answer["result"], 1);
        EXPECT_EQ(answer["cli-mac"], kAnna);
        EXPECT_EQ(answer["redirect-location"], portal_->getProxyUrl() + path);
    }
}

}  // namespace
}  // namespace vesta::testing
