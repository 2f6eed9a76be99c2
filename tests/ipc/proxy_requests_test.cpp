#include <string>

#include "kernel/kernel_white_list_store.h"
#include "portal_fixture.h"

namespace vesta::testing {
namespace {

constexpr const char* kAnna = "02:00:00:00:00:01";
constexpr const char* kValuesHash = "bbeee2fb380304741d55014a8dd9af0d";  // 10.0.0.0/8,#help desk

class ProxyRequestsTest : public PortalFixture {};

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

TEST_F(ProxyRequestsTest, UpdateTakesANumberForTheTextThatItStandsFor) {
    connect(kAnna, "10.0.0.1");
    listener_.handleUpdateScenario(message(R"({"params": {"ipaddr": "10.0.0.1",
        "scenarios": [{"access-type": "allow", "name": "5"}]}})"));
    ASSERT_EQ(clients()["0"]["access-type"], "Redirect");
    listener_.handleUpdate(message(R"({"params": {"ipaddr": "10.0.0.1", "cur-scenario-id": 5}})"));
    EXPECT_EQ(clients()["0"]["access-type"], "Allow");
    listener_.handleUpdate(
        message(R"({"params": {"ipaddr": "10.0.0.1", "cur-scenario-id": "x"}})"));
    EXPECT_EQ(clients()["0"]["scenario-id-cur"], 0) << "there is no such scenario";
}

TEST_F(ProxyRequestsTest, UpdateScenarioLeavesOutWhatItCannotBuildAndLoadsTheListsFirst) {
    connect(kAnna, "10.0.0.1");
    listener_.handleUpdateScenario(message(R"({"params": {"ipaddr": "10.0.0.1",
        "permitted-ip-list": [{}, {"permitted-ip": "10.0.0.0/8,#help desk"}],
        "scenarios": [{"access-type": "none", "name": "x"},
                      {"access-type": "forbid", "name": "pay",
                       "permitted-ip": "bbeee2fb380304741d55014a8dd9af0d"}]}})"));
    EXPECT_EQ(portal_->getWhiteListStore()->getWhiteListHash(kValuesHash), kValuesHash);
    EXPECT_EQ(clients()["0"]["scenarios-cnt"], 1);
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
