#include "redirectord/shaper_line.h"

#include <charconv>
#include <vector>

namespace redirectord {
namespace {

constexpr std::size_t kLongestDeviceName = 15;

std::vector<std::string_view> wordsOf(std::string_view line) {
    constexpr std::string_view kBlanks = " \t\r\n";
    std::vector<std::string_view> words;
    for (std::size_t begin = 0; (begin = line.find_first_not_of(kBlanks, begin)) != line.npos;) {
        const std::size_t end = std::min(line.find_first_of(kBlanks, begin), line.size());
        words.push_back(line.substr(begin, end - begin));
        begin = end;
    }
    return words;
}

bool isNumber(std::string_view word, std::uint32_t& number) {
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    return error == std::errc() && end == word.data() + word.size();
}

std::string quoted(std::string_view word) {
    return '"' + std::string(word.substr(0, 40)) + '"';
}

// Three words: mode, rate, burst. False with the reason in `problem`.
bool readLimit(const std::string_view* words, std::uint32_t& limit, std::string& problem) {
    std::uint32_t rate = 0;
    std::uint32_t burst = 0;
    for (const auto& [word, number] : {std::pair{words[1], &rate}, std::pair{words[2], &burst}}) {
        if (!isNumber(word, *number)) {
            problem = quoted(word) + " is no number of bytes below 4 GiB";
            return false;
        }
    }
    if (words[0] != "0" && words[0] != "2") {
        problem = "mode " + quoted(words[0]) + " is neither 0, no limit, nor 2, a limit";
        return false;
    }
    if (words[0] == "2" && rate == 0) {
        problem = "a limit of 0 bytes a second";
        return false;
    }
    limit = words[0] == "2" ? rate : 0;
    return true;
}

}  // namespace

std::optional<ShaperCommand> parseShaperCommand(std::string_view line, std::string& problem) {
    const std::vector<std::string_view> words = wordsOf(line);
    const bool adds = words.size() == 10 && words[1] == "add";
    const bool deletes = words.size() == 4 && words[1] == "del";
    if (words.empty() || words[0] != "sta" || (!adds && !deletes)) {
        problem = R"(neither "sta add" with eight arguments nor "sta del" with two)";
        return std::nullopt;
    }
    if (words[2].size() > kLongestDeviceName || words[2].find('\0') != std::string_view::npos) {
        problem = "no device can have the name " + quoted(words[2]);
        return std::nullopt;
    }
    const std::optional<ostrel::MacBytes> mac = ostrel::parseColonMac(words[3]);
    if (!mac) {
        problem = quoted(words[3]) + " is no hardware address";
        return std::nullopt;
    }
    ShaperCommand command{StationKey(words[2], *mac), {}};
    if (adds && (!readLimit(&words[4], command.limits.toStation, problem) ||
                 !readLimit(&words[7], command.limits.fromStation, problem))) {
        return std::nullopt;
    }
    return command;
}

}  // namespace redirectord
