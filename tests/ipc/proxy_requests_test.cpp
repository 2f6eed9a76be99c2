#include <utility>

#include "kernel/kernel_white_list_store.h"
#include "portal_fixture.h"

namespace vesta::testing {
namespace {

constexpr const char* kAnna = "02:00:00:00:00:01";
constexpr const char* kValuesHash = "bbeee2fb380304741d55014a8dd9af0d";  // 10.0.0.0/8,#help desk

class ProxyRequestsTest : public PortalFixture {
protected:
    // The request's "params" are `members` and the connected station's address.
    static std::shared_ptr<MessageEntry> ofAnna(const std::string& members) {
        return message(R"({"params": {"ipaddr": "10.0.0.1", )" + members + "}}");
    }
};

TEST_F(ProxyRequestsTest, AreAnsweredAsAgreedAlsoWhereNothingCouldBeDone) {
    constexpr const char* kNotFound =
        R"({"command": "validate-ip-response", "result": 0, "reason": "Client not found"})";
    constexpr const char* kValidated = R"({"command": "validate-response", "result": 1})";
    constexpr const char* kUnreadable = R"({"command": "update-scenario-response", "result": 0,
                                            "reason": "Parse message failed"})";
    constexpr auto kValidateIp = &IPCEventListener::handleValidateIp;
    constexpr auto kValidate = &IPCEventListener::handleValidate;
    constexpr auto kUpdateScenario = &IPCEventListener::handleUpdateScenario;
    const struct {
        decltype(kValidate) handler;
        const char* params;
        const char* answer;
    } rows[] = {
        {kValidateIp, R"({"ipaddr": "10.0.0.2"})", kNotFound},  // not connected
        {kValidateIp, R"({"ipaddr": "10.9.9.9"})", kNotFound},
        {kValidateIp, R"({"ipaddr": ""})", kNotFound},
        {kValidate, R"({"ipaddr": "10.0.0.1", "login": "a"})", kValidated},
        {kValidate, R"({"ipaddr": "10.9.9.9", "login": "a", "password": "b"})", kValidated},
        {kUpdateScenario, "[]", kUnreadable},
        {kUpdateScenario, R"({"scenarios": []})", kUnreadable},
        {kUpdateScenario, R"({"ipaddr": "10.0.0.1"})", kUnreadable},
        {kUpdateScenario, R"({"ipaddr": "10.0.0.1", "scenarios": "x"})", kUnreadable},
        {kUpdateScenario, R"({"ipaddr": "10.0.0.1", "scenarios": [], "permitted-ip-list": 1})",
         kUnreadable}};
    connect(kAnna, "10.0.0.1");
    arrive("02:00:00:00:00:02", "10.0.0.2");
    for (const auto& [handler, params, answer] : rows) {
        const auto request = message("{\"params\": " + std::string(params) + "}");
        EXPECT_EQ(jsonOf((listener_.*handler)(request)), json::parse(answer)) << params;
    }
    EXPECT_THROW(listener_.handleValidate(message(R"({"params": {"ipaddr": "10.0.0.1"}})")),
                 ENTRY_EXCEPTION_TYPE);
}

TEST_F(ProxyRequestsTest, UpdateScenarioLoadsTheListsFirstAndLeavesOutWhatItCannotBuild) {
    connect(kAnna, "10.0.0.1");
    listener_.handleUpdateScenario(
        ofAnna(R"("permitted-ip-list": [{}, {"permitted-ip": "10.0.0.0/8,#help desk"}],
                  "scenarios": [{"access-type": "none", "name": "x"},
                                {"access-type": "forbid", "name": "pay",
                                 "permitted-ip": "bbeee2fb380304741d55014a8dd9af0d"},
                                {"access-type": "allow", "name": "5"}])"));
    EXPECT_EQ(portal_->getWhiteListStore()->getWhiteListHash(kValuesHash), kValuesHash);
    EXPECT_EQ(clients()["0"]["scenarios-cnt"], 2);
    EXPECT_EQ(clients()["0"]["access-type"], "Redirect");
    listener_.handleUpdate(ofAnna(R"("cur-scenario-id": 5)"));
    EXPECT_EQ(clients()["0"]["access-type"], "Allow") << "a number stands for its text";
    listener_.handleUpdate(ofAnna(R"("cur-scenario-id": "x")"));
    EXPECT_EQ(clients()["0"]["scenario-id-cur"], 1) << "there is no such scenario";
}

TEST_F(ProxyRequestsTest, RedirectParamsAddThePathOfThePortalsUrl) {
    connect(kAnna, "10.0.0.1");
    const std::pair<std::string, std::string> cases[] = {
        {"http://portal.example/login?x=1", "login?x=1"},
        {"http://portal.example", ""},
        {"http://portal.example/", ""},
        {"portal.example/login", ""},
        {"", ""}};
    for (const auto& [url, path] : cases) {
        listener_.handleUpdateScenario(
            ofAnna(R"("scenarios": [{"access-type": "forbid", "name": "url )" + url +
                   R"(", "redirect-url": ")" + url + "\"}]"));
        listener_.handleUpdate(ofAnna(R"("cur-scenario-id": "url )" + url + "\""));
        const json answer =
            jsonOf(listener_.handleGetRedirectParams(message(R"({"client": "10.0.0.1"})")));
        EXPECT_EQ(answer["redirect-location"], portal_->getProxyUrl() + path) << url;
    }
}

}  // namespace
}  // namespace vesta::testing
