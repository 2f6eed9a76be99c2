#include "vestactl/report.h"

#include <gtest/gtest.h>

namespace vestactl {
namespace {

using Json = nlohmann::json;

TEST(StatusReportTest, ListsClientsInTheDaemonsOrder) {
    Json clients;
    for (int index = 0; index < 11; ++index) {
        clients[std::to_string(index)] = {{"mac", "m" + std::to_string(index)}};
    }
    clients["2"].update({{"ip", "10.0.0.2"}, {"login", "anna"}, {"session-time", 8}});
    const std::string report = statusReport({{"value", {{"clients", clients}}}});
    EXPECT_LT(report.find("m9\n"), report.find("m10\n"));
    EXPECT_NE(report.find("m2   10.0.0.2                             anna   8\n"),
              std::string::npos)
        << report;
    EXPECT_NE(report.find("\n11 clients\n"), std::string::npos);
}

TEST(StatusReportTest, LetsNoLoginSteerTheTerminal) {
    const std::string report =
        statusReport(Json::parse(R"({"value": {"clients": {"0": {"login": "a\u001b[2Jb\nc"}}}})"));
    EXPECT_NE(report.find("a?[2Jb?c\n"), std::string::npos) << report;
}

TEST(ScenariosReportTest, MarksTheCurrentScenario) {
    const std::string report = scenariosReport(Json::parse(R"({"value": {"0": {
        "mac": "m", "ip": "i", "ssid": "s", "status": "connected", "access-type": "Allow",
        "scenario-id-cur": -1,
        "scenario": [{"ID": -2, "name": "login", "external-url": "http://p"},
                     {"ID": -1, "name": "guest", "qos-bw-up-rate": 1024}]}}})"));
    EXPECT_EQ(report,
              "m  i  s  connected  Allow\n"
              "     NAME   URL       SESSION s  TIME s  TRAFFIC B  UP    DOWN\n"
              "     login  http://p\n"
              "  >  guest                                          1024\n");
}

TEST(ReportTest, BearsAnswersOfAnyShape) {
    for (const char* text :
         {"{}", "[]", "5", R"({"value": 5, "params": 5})",
          R"({"value": {"clients": [1, 2], "0": 7}, "params": []})",
          R"({"value": {"clients": {"0": {"mac": {"x": 1}, "ip": null}}}})",
          R"({"value": {"0": {"scenario": {"a": 5}}, "1": {"scenario": [3]}}})"}) {
        const Json answer = Json::parse(text);
        EXPECT_FALSE(statusReport(answer).empty()) << text;
        EXPECT_FALSE(scenariosReport(answer).empty()) << text;
        EXPECT_EQ(stationReport(answer), "") << text;
    }
}

}  // namespace
}  // namespace vestactl
