#include "apsim/terminal.h"

#include <sys/ioctl.h>

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

std::string padded(std::string text, std::size_t width) {
    text.resize(std::max(text.size(), width), ' ');
    return text;
}

// What was not as expected, in at most `rows` lines.
std::string reasons(const std::vector<StationResult>& failed, const Look& look, std::size_t rows) {
    const std::size_t shown = failed.size() <= rows ? failed.size() : rows - 1;
    std::string text;
    for (std::size_t index = 0; index < shown; ++index) {
        const std::string line = printable(failed[index].name + ": " + failed[index].failure);
        text += (look.columns == 0 ? line : tools::cut(line, look.columns)) + '\n';
    }
    if (shown < failed.size()) {
        text += "and " + std::to_string(failed.size() - shown) + " more\n";
    }
    return text;
}

}  // namespace

Look lookOf(std::FILE* stream) {
    Look look;
    winsize size{};
    if (ioctl(fileno(stream), TIOCGWINSZ, &size) == 0) {
        look.colour = std::getenv("NO_COLOR") == nullptr;
        look.columns = size.ws_col;
        look.rows = size.ws_row;
    }
    return look;
}

Printer::Printer(std::FILE* stream, std::map<std::string, std::string> names)
    : stream_(stream), look_(lookOf(stream)), names_(std::move(names)) {}

void Printer::print(const Event& event) {
    constexpr std::size_t kParty = 10;
    constexpr std::size_t kStation = 5;
    constexpr std::size_t kInterface = 10;
    constexpr std::size_t kWhat = 15;
    if (start_ == std::chrono::steady_clock::time_point{}) {
        start_ = event.at;
    }
    const std::chrono::duration<double> seconds = event.at - start_;
    const int time = std::fprintf(stream_, "%7.3f ", seconds.count());
    const auto name = names_.find(event.station.mac);
    const std::string& station = name == names_.end() ? event.station.mac : name->second;
    std::string rest =
        printable(padded(station, kStation) + ' ' + padded(event.station.interface, kInterface) +
                  ' ' + padded(event.what, kWhat) + ' ' + event.detail);
    const std::size_t used = static_cast<std::size_t>(std::max(time, 0)) + kParty + 1;
    if (look_.columns > used) {
        rest = tools::cut(rest, look_.columns - used);
    }
    rest.erase(rest.find_last_not_of(' ') + 1);
    std::fprintf(stream_, "%s%s%s %s\n", look_.colour ? partyColour(event.party) : "",
                 padded(partyName(event.party), kParty).c_str(), look_.colour ? kPlain : "",
                 rest.c_str());
    std::fflush(stream_);
}

void printResults(std::FILE* stream, const std::vector<StationResult>& results) {
    const Look look = lookOf(stream);
    std::vector<std::vector<std::string>> rows{{"", "who", "what was expected", "what happened"}};
    std::vector<StationResult> failed;
    for (const StationResult& result : results) {
        const bool ok = result.failure.empty();
        rows.push_back({ok ? "ok" : "FAILED", result.name, result.expected, result.happened});
        if (!ok) {
            failed.push_back(result);
        }
    }
    // Beside the reasons: the table, the line that counts, and two for whoever started this.
    const std::size_t others = rows.size() + 3;
    const std::size_t left =
        look.rows == 0 ? failed.size() : look.rows - std::min(look.rows, others);
    std::fprintf(stream, "\n%s%s%s%zu of %zu stations as expected%s\n%s",
                 tools::table(rows, "", look.columns).c_str(), look.colour ? kBold : "",
                 look.colour ? (failed.empty() ? kGreen : kRed) : "",
                 results.size() - failed.size(), results.size(), look.colour ? kPlain : "",
                 reasons(failed, look, std::max<std::size_t>(left, 1)).c_str());
}

}  // namespace apsim
