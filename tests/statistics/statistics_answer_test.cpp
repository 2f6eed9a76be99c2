// The answer with the statistics of all stations.

#include <gmock/gmock.h>

#include <cstdint>
#include <optional>
#include <sstream>

#include "core/json_entry.h"
#include "statistics/ipc_information_collector.h"

namespace vesta::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::Optional;

// "interface mac rx tx bytes | rx tx packets | rx tx dropped | tx lost | tx rx dropped bytes |
// uptime"
std::string line(const ClientStatisticInfo& station) {
    std::ostringstream text;
    text << station.interface << ' ' << station.identity.mac.to_string() << ' ' << station.rxBytes
         << ' ' << station.txBytes << " | " << station.rxPackets << ' ' << station.txPackets
         << " | " << station.rxDroppedPackets << ' ' << station.txDroppedPackets << " | "
         << station.txLostPackets << " | " << station.txDroppedBytes << ' '
         << station.rxDroppedBytes << " | " << station.uptime;
    EXPECT_EQ(station.timeLimit, 0);
    EXPECT_EQ(station.endReason, END_REASON_NONE);
    return text.str();
}

// Nothing of an answer that has no list of stations.
std::optional<std::vector<std::string>> parse(const std::string& answer) {
    std::vector<ClientStatisticInfo> statistics;
    if (!IPCInformationCollector::parseResponseData(JsonEntry(answer).getRowMessage(),
                                                    statistics)) {
        return std::nullopt;
    }
    std::vector<std::string> lines;
    for (const ClientStatisticInfo& station : statistics) {
        lines.push_back(line(station));
    }
    return lines;
}

TEST(StatisticsAnswer, HasEveryCounterInItsPlaceAndZeroForWhatCannotBeRead) {
    const char* const zero = "0 0 | 0 0 | 0 0 | 0 | 0 0 | 0";
    const std::pair<const char*, std::string> rows[] = {
        {R"(, "uptime": "12", "statistics": {
            "rx": {"bytes": "1", "packets": "3", "dropped-packets": "5", "dropped-bytes": "9"},
            "tx": {"bytes": "2", "packets": "4", "dropped-packets": "6", "lost-packets": "7",
                   "dropped-bytes": "8"}})",
         "1 2 | 3 4 | 5 6 | 7 | 8 9 | 12"},
        {R"(, "uptime": "-3", "statistics": {"rx": {"bytes": "5000000000", "packets": "4294967296"},
            "tx": {"bytes": " 4294967295 x"}})",
         "5000000000 4294967295 | 4294967295 0 | 0 0 | 0 | 0 0 | -3"},
        {R"(, "uptime": -3, "statistics": {"rx": {"bytes": 5000000000, "packets": 4294967296},
            "tx": {"bytes": 4294967295.5, "packets": -1}})",
         "5000000000 4294967295 | 4294967295 0 | 0 0 | 0 | 0 0 | -3"},
        {R"(, "uptime": "99999999999", "statistics": {"rx": {"bytes": "9223372036854775808"},
            "tx": {"bytes": 18446744073709551615}})",
         "9223372036854775807 18446744073709551615 | 0 0 | 0 0 | 0 | 0 0 | 2147483647"},
        {"", zero},
        {R"(, "statistics": null)", zero},
        {R"(, "statistics": [1], "uptime": {})", zero},
        {R"(, "statistics": {"rx": "1", "tx": 2}, "uptime": true)", zero},
        {R"(, "statistics": {"rx": {"bytes": [], "packets": "x"}, "tx": {"bytes": null}})", zero},
    };
    for (const auto& [members, expected] : rows) {
        const std::string station = R"({"interface": "w", "hw-addr": "02:00:00:00:00:01")";
        EXPECT_THAT(parse(R"({"value": [)" + station + members + "}]}"),
                    Optional(ElementsAre("w 02:00:00:00:00:01 " + expected)))
            << members;
    }
}

TEST(StatisticsAnswer, SkipsElementsThatNameNoStation) {
    EXPECT_THAT(parse(R"({"value": [null, 1, "x", [], {},
        {"interface": "w"}, {"hw-addr": "02:00:00:00:00:02"},
        {"interface": 1, "hw-addr": "02:00:00:00:00:02"}, {"interface": "w", "hw-addr": ""},
        {"interface": "w", "hw-addr": "02:00:00:00:00:01"},
        {"interface": "v", "hw-addr": "02:00:00:00:00:01"}]})"),
                Optional(ElementsAre("w 02:00:00:00:00:01 0 0 | 0 0 | 0 0 | 0 | 0 0 | 0",
                                     "v 02:00:00:00:00:01 0 0 | 0 0 | 0 0 | 0 | 0 0 | 0")));
    EXPECT_THAT(parse(R"({"value": []})"), Optional(ElementsAre()));
    for (const char* answer : {"{}", R"({"value": {}})", R"({"value": null})", "[]", "\"x\""}) {
        EXPECT_EQ(parse(answer), std::nullopt) << answer;
    }
}

}  // namespace
}  // namespace vesta::testing
