#include "vestactl/report.h"

#include <gtest/gtest.h>

#include "common/table.h"

namespace vestactl {
namespace {

using Json = nlohmann::json;

TEST(StatusReportTest, ListsClientsInTheDaemonsOrder) {
    Json clients;
    for (int index = 0; index < 11; ++index) {
        clients[std::to_string(index)] = {{"mac", "m" + std::to_string(index)}};
    }
    const std::string report = statusReport({{"value", {{"clients", clients}}}});
    EXPECT_LT(report.find("m9\n"), report.find("m10\n"));
}

TEST(StatusReportTest, LetsNoLoginSteerTheTerminal) {
    const std::string report =
        statusReport(Json::parse(R"({"value": {"clients": {"0": {"login": "a\u001b[2Jb\nc"}}}})"));
    EXPECT_NE(report.find("a?[2Jb?c\n"), std::string::npos) << report;
}

TEST(TableTest, CutsTheWidestCellsToTheWidth) {
    const std::vector<std::vector<std::string>> rows{{"a", "some long text", "b"},
                                                     {"c", "caf\u00e9 au lait", "d"}};
    EXPECT_EQ(tools::table(rows, "", 13), "a  some...  b\nc  caf...   d\n");
    EXPECT_EQ(tools::table(rows, "", 5), "a  ...  b\nc  ...  d\n") << "no narrower";
    EXPECT_EQ(tools::table(rows), tools::table(rows, "", 20));
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
