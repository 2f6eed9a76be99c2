#include "vestactl/report.h"

#include <sstream>
#include <vector>

#include "common/table.h"

namespace vestactl {

namespace {

using Json = nlohmann::json;
using tools::table;
using Row = std::vector<std::string>;

// A member's text.
std::string cell(const Json& object, const char* name) {
    const auto member = object.find(name);
    if (member == object.end() || member->is_structured() || member->is_null()) {
        return "";
    }
    return member->is_string() ? member->get<std::string>() : member->dump();
}

Row rowOf(const Json& object, const std::vector<const char*>& names) {
    Row row;
    for (const char* name : names) {
        row.push_back(cell(object, name));
    }
    return row;
}

Json member(const Json& object, const char* name) {
    const auto found = object.find(name);
    return found == object.end() ? Json() : *found;
}

// The objects under "0", "1", ... in the order of their numbers.
std::vector<Json> numbered(const Json& object) {
    std::vector<Json> all;
    for (std::size_t index = 0; index < object.size(); ++index) {
        const auto found = object.find(std::to_string(index));
        if (found != object.end()) {
            all.push_back(*found);
        }
    }
    return all;
}

}  // namespace

std::string statusReport(const Json& answer) {
    const std::vector<Json> clients = numbered(member(member(answer, "value"), "clients"));
    std::vector<Row> rows{
        {"MAC", "IP", "VAP", "SSID", "STATUS", "ACCESS", "LOGIN", "SESSION s", "TRAFFIC B"}};
    for (const Json& client : clients) {
        rows.push_back(rowOf(client, {"mac", "ip", "interface", "ssid", "status", "access-type",
                                      "login", "session-time", "traffic-limit-cur"}));
    }
    std::ostringstream text;
    text << table(rows) << clients.size() << (clients.size() == 1 ? " client" : " clients") << '\n';
    return text.str();
}

std::string scenariosReport(const Json& answer) {
    std::string text;
    for (const Json& client : numbered(member(answer, "value"))) {
        text += cell(client, "mac") + "  " + cell(client, "ip") + "  " + cell(client, "ssid") +
                "  " + cell(client, "status") + "  " + cell(client, "access-type") + '\n';
        std::vector<Row> rows{
            {"", "NAME", "URL", "SESSION s", "TIME s", "TRAFFIC B", "UP B/s", "DOWN B/s"}};
        const std::string current = cell(client, "scenario-id-cur");
        for (const Json& scenario : member(client, "scenario")) {
            Row row = rowOf(scenario, {"name", "external-url", "session-timeout", "time-limit",
                                       "traffic-limit", "qos-bw-up-rate", "qos-bw-down-rate"});
            row.insert(row.begin(), cell(scenario, "ID") == current ? ">" : " ");
            rows.push_back(std::move(row));
        }
        text += table(rows, "  ");
    }
    return text.empty() ? "no clients\n" : text;
}

std::string stationReport(const Json& answer) {
    std::vector<Row> rows;
    const Json params = member(answer, "params");
    if (!params.is_object()) {
        return "";
    }
    for (const auto& [name, value] : params.items()) {
        rows.push_back({name, cell(params, name.c_str())});
    }
    return table(rows);
}

}  // namespace vestactl
