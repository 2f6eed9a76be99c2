#include "apsim/terminal.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "common/table.h"

namespace apsim {

namespace {

using tools::printable;

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
        case Party::radius:
            return "\033[95m";
    }
    return "";
}

}  // namespace

bool wantsColour(std::FILE* stream) {
    return isatty(fileno(stream)) != 0 && std::getenv("NO_COLOR") == nullptr;
}

Printer::Printer(std::FILE* stream, bool colour, std::map<std::string, std::string> names)
    : stream_(stream), colour_(colour), names_(std::move(names)) {}

void Printer::print(const Event& event) {
    if (start_ == std::chrono::steady_clock::time_point{}) {
        start_ = event.at;
    }
    const auto name = names_.find(event.station.mac);
    const std::string& station = name == names_.end() ? event.station.mac : name->second;
    const std::chrono::duration<double> time = event.at - start_;
    std::fprintf(stream_, "%8.3f  %s%-10s%s  %-9s %-10s  %-15s  %s\n", time.count(),
                 colour_ ? partyColour(event.party) : "", partyName(event.party),
                 colour_ ? kPlain : "", printable(station).c_str(),
                 printable(event.station.interface).c_str(), printable(event.what).c_str(),
                 printable(event.detail).c_str());
    std::fflush(stream_);
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
    std::fprintf(
        stream, "\n%s\n%s%s%zu of %zu stations as expected%s\n", tools::table(rows).c_str(),
        colour ? kBold : "", colour ? (failed == 0 ? kGreen : kRed) : "",
        results.size() - static_cast<std::size_t>(failed), results.size(), colour ? kPlain : "");
}

}  // namespace apsim
