#include "apsim/terminal.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <utility>

namespace apsim {

namespace {

constexpr const char* kPlain = "\033[0m";
constexpr const char* kBold = "\033[1m";
constexpr const char* kGreen = "\033[32m";
constexpr const char* kRed = "\033[31m";

const char* partyColour(Party party) {
    switch (party) {
        case Party::station:
            return "\033[1m";
        case Party::configuration:
            return "\033[2m";
        case Party::redirector:
            return "\033[33m";
        case Party::shaper:
            return "\033[36m";
        case Party::wifiAuth:
            return "\033[34m";
        case Party::trap:
            return "\033[35m";
        case Party::deauth:
            return "\033[31m";
        case Party::portal:
            return "\033[32m";
    }
    return "";
}

// Nothing that the other side sent may steer the terminal.
std::string printable(std::string text) {
    std::replace_if(
        text.begin(), text.end(),
        [](char byte) { return std::iscntrl(static_cast<unsigned char>(byte)) != 0; }, ' ');
    return text;
}

}  // namespace

bool wantsColour(std::FILE* stream) {
    return isatty(fileno(stream)) != 0 && std::getenv("NO_COLOR") == nullptr;
}

Printer::Printer(std::FILE* stream, bool colour, std::map<StationId, std::string> names)
    : stream_(stream), colour_(colour), names_(std::move(names)) {}

void Printer::print(const Event& event) {
    if (start_ == std::chrono::steady_clock::time_point{}) {
        start_ = event.at;
    }
    const auto name = names_.find(event.station);
    const std::string& station = name == names_.end() ? event.station.mac : name->second;
    const std::chrono::duration<double> time = event.at - start_;
    std::fprintf(stream_, "%8.3f  %s%-10s%s  %-9s %-10s  %-15s  %s\n", time.count(),
                 colour_ ? partyColour(event.party) : "", partyName(event.party),
                 colour_ ? kPlain : "", printable(station).c_str(),
                 printable(event.station.interface).c_str(), printable(event.what).c_str(),
                 printable(event.detail).c_str());
    std::fflush(stream_);
}

void printTable(std::FILE* stream, const std::vector<std::vector<std::string>>& rows) {
    std::vector<std::size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], row[column].size());
        }
    }
    for (const auto& row : rows) {
        std::string line;
        for (std::size_t column = 0; column < row.size(); ++column) {
            line += printable(row[column]);
            if (column + 1 < row.size()) {
                line.append(widths[column] - row[column].size() + 2, ' ');
            }
        }
        std::fprintf(stream, "%s\n", line.c_str());
    }
}

void printResults(std::FILE* stream, bool colour, const std::vector<StationResult>& results) {
    std::vector<std::vector<std::string>> rows{
        {"result", "station", "VAP", "what was expected", "what happened"}};
    for (const StationResult& result : results) {
        rows.push_back({result.ok ? "ok" : "FAILED", result.name, result.interface, result.expected,
                        result.happened});
    }
    const auto failed = std::count_if(results.begin(), results.end(),
                                      [](const StationResult& result) { return !result.ok; });
    std::fprintf(stream, "\n");
    printTable(stream, rows);
    std::fprintf(stream, "\n%s%s%zu of %zu stations as expected%s\n", colour ? kBold : "",
                 colour ? (failed == 0 ? kGreen : kRed) : "",
                 results.size() - static_cast<std::size_t>(failed), results.size(),
                 colour ? kPlain : "");
}

}  // namespace apsim
