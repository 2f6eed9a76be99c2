#include <string>

#include "kernel/kernel_white_list_store.h"
#include "portal_fixture.h"

namespace vesta::testing {
namespace {

constexpr const char* kAnna = "02:00:00:00:00:01";
constexpr const char* kValuesHash = "bbeee2fb380304741d55014a8dd9af0d";  // 10.0.0.0/8,#help desk

class ProxyRequestsTest : public PortalFixture {};

TEST_F(ProxyRequestsTest, ValidateIpDescribesAConnectedStation) {
    connect(kAnna, "10.0.0.1");
    const json answer =
        jsonOf(listener_.handleValidateIp(message(R"({"params": {"ipaddr": "10.0.0.1"}})")));
    EXPECT_EQ(answer["command"], "validate-ip-response");
    EXPECT_EQ(answer["result"], 1);

    json params = answer["params"];
    EXPECT_EQ(params["nas-ip"], portal_->getProxyIp());
    EXPECT_EQ(params["ap-ip-alias"], portal_->getProxyIp());
    for (const char* varying : {"nas-ip", "ap-ip-alias", "ap-mac", "cur-state"}) {
        EXPECT_EQ(params.erase(varying), 1U) << varying;
    }
    EXPECT_EQ(params, json::parse(R"({
        "command": "validate-ip-response", "status": 1, "use-captcha": "down",
        "proxy-mode": "absolute-path", "cli-mac": "02:00:00:00:00:01", "cli-ip": "10.0.0.1",
        "url": "http://p/login", "virtual-portal-name": "main", "ssid": "Guest", "domain": "",
        "ap-location": "hall"})"));
}

TEST_F(ProxyRequestsTest, ValidateIpKnowsNeitherStrangersNorStationsThatAreNotConnected) {
    arrive(kAnna, "10.0.0.1");
    for (const char* ip : {"10.0.0.1", "10.0.0.2", ""}) {
        SCOPED_TRACE(ip);
        const auto request = message("{\"params\": {\"ipaddr\": \"" + std::string(ip) + "\"}}");
        EXPECT_EQ(jsonOf(listener_.handleValidateIp(request)), json::parse(R"({
            "command": "validate-ip-response", "result": 0, "reason": "Client not found"})"));
    }
}

TEST_F(ProxyRequestsTest, ValidateTellsNothingOfItsOutcome) {
    connect(kAnna, "10.0.0.1");
    const json done = json::parse(R"({"command": "validate-response", "result": 1})");
    for (const char* params : {R"({"ipaddr": "10.0.0.1", "login": "a", "password": "b"})",
                               R"({"ipaddr": "10.0.0.1", "login": "a"})",
                               R"({"ipaddr": "10.9.9.9", "login": "a", "password": "b"})"}) {
        const auto request = message("{\"params\": " + std::string(params) + "}");
        EXPECT_EQ(jsonOf(listener_.handleValidate(request)), done) << params;
    }
    EXPECT_THROW(listener_.handleValidate(message(R"({"params": {"ipaddr": "10.0.0.1"}})")),
                 ENTRY_EXCEPTION_TYPE);
}

TEST_F(ProxyRequestsTest, UpdateMovesTheStationToTheNamedScenarioWithItsLimits) {
    connect(kAnna, "10.0.0.1");
    ASSERT_EQ(clients()["0"]["access-type"], "Redirect");
    const auto request = message(
        R"({"params": {"ipaddr": "10.0.0.1", "cur-scenario-id": "guest", "time_limit": 77}})");
    EXPECT_EQ(jsonOf(listener_.handleUpdate(request)),
              json::parse(R"({"command": "update-response", "result": 1})"));
    EXPECT_EQ(clients()["0"]["access-type"], "Allow");
    // A number is taken for the text that it stands for; no such scenario, no move.
    listener_.handleUpdate(message(R"({"params": {"ipaddr": "10.0.0.1", "cur-scenario-id": 5}})"));
    EXPECT_EQ(clients()["0"]["access-type"], "Allow");
}

TEST_F(ProxyRequestsTest, UpdateScenarioAppendsWhatItCanBuildAndLoadsTheListsFirst) {
    connect(kAnna, "10.0.0.1");
    const auto request = message(R"({"params": {"ipaddr": "10.0.0.1",
        "permitted-ip-list": [{}, {"permitted-ip": "10.0.0.0/8,#help desk"}],
        "scenarios": [{"access-type": "none", "name": "x"},
                      {"access-type": "forbid", "name": "pay", "redirect-url": "http://pay/",
                       "permitted-ip": "bbeee2fb380304741d55014a8dd9af0d"},
                      {"access-type": "allow", "name": "paid", "session_timeout": 9}]}})");
    EXPECT_EQ(jsonOf(listener_.handleUpdateScenario(request)),
              json::parse(R"({"command": "update-scenario-response", "result": 1})"));

    EXPECT_EQ(portal_->getWhiteListStore()->getWhiteListHash(kValuesHash), kValuesHash);
    const json dump = jsonOf(listener_.handleVestadStateScenarios(message("{}")));
    const json& scenarios = dump["value"]["0"]["scenario"];
    // Behind the two configured ones.
    ASSERT_EQ(scenarios.size(), 4U) << dump;
    EXPECT_EQ(scenarios[2]["name"], "pay");
    EXPECT_EQ(scenarios[2]["external-url"], "http://pay/");
    EXPECT_EQ(scenarios[3]["name"], "paid");
    EXPECT_EQ(scenarios[3]["session-timeout"], 9);
}

TEST_F(ProxyRequestsTest, UpdateScenarioSaysWhenItCannotBeRead) {
    for (const char* request :
         {"{}", R"({"params": {"scenarios": []}})", R"({"params": {"ipaddr": "10.0.0.1"}})",
          R"({"params": {"ipaddr": "10.0.0.1", "scenarios": "x"}})",
          R"({"params": {"ipaddr": "10.0.0.1", "scenarios": [],
                                               "permitted-ip-list": 1}})"}) {
        EXPECT_EQ(jsonOf(listener_.handleUpdateScenario(message(request))), json::parse(R"({
            "command": "update-scenario-response", "result": 0,
            "reason": "Parse message failed"})"))
            << request;
    }
}

}  // namespace
}  // namespace vesta::testing
