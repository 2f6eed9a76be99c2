#include "portald/texts.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "portald/builtin.h"

namespace portald {
namespace {

constexpr const char* kEnglish = "en";
// A browser sends some dozens of characters.
constexpr std::size_t kMostHeader = 512;

std::string_view trimmed(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(" \t");
    const std::size_t end = text.find_last_not_of(" \t");
    return begin == std::string_view::npos ? "" : text.substr(begin, end - begin + 1);
}

std::string lowered(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) {
        return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    });
    return lower;
}

// Thousandths: "q=0.5" is 500. A weight that is none counts nothing.
int weightOf(std::string_view parameter) {
    parameter = trimmed(parameter);
    if (parameter.size() < 3 ||
        (parameter.substr(0, 2) != "q=" && parameter.substr(0, 2) != "Q=")) {
        return 0;
    }
    parameter.remove_prefix(2);
    int weight = 0;
    int place = 1000;
    for (const char c : parameter.substr(0, 5)) {
        if (c >= '0' && c <= '9') {
            weight += (c - '0') * place;
            place /= 10;
        } else if (c != '.' || place != 100) {
            return 0;
        }
    }
    return std::min(weight, 1000);
}

struct Wish {
    std::string language;
    int weight;  // thousandths
};

Wish wishOf(std::string_view entry) {
    const std::size_t semicolon = entry.find(';');
    return {lowered(trimmed(entry.substr(0, semicolon))),
            semicolon == std::string_view::npos ? 1000 : weightOf(entry.substr(semicolon + 1))};
}

}  // namespace

Texts::Texts() {
    for (const Builtin& file : builtinTexts()) {
        load(std::string(file.name), std::string(file.content));
    }
}

void Texts::load(const std::string& language, const std::string& json) {
    nlohmann::json texts;
    try {
        texts = nlohmann::json::parse(json);
    } catch (const nlohmann::json::parse_error& error) {
        throw std::runtime_error(error.what());
    }
    if (!texts.is_object()) {
        throw std::runtime_error("there is no JSON object");
    }
    const auto english = languages_.find(kEnglish);
    Language merged = languages_.count(language) != 0 ? languages_[language]
                      : english != languages_.end()   ? english->second
                                                      : Language();
    for (const auto& [key, text] : texts.items()) {
        if (!text.is_string()) {
            throw std::runtime_error("\"" + key + "\" is no text");
        }
        if (english != languages_.end() && english->second.count(key) == 0) {
            throw std::runtime_error("there is no text \"" + key + "\"");
        }
        merged[key] = text.get<std::string>();
    }
    languages_[lowered(language)] = std::move(merged);
}

std::string Texts::choose(std::string_view acceptLanguage) const {
    acceptLanguage = acceptLanguage.substr(0, kMostHeader);
    std::string best = kEnglish;
    int bestWeight = 0;
    while (!acceptLanguage.empty()) {
        const std::size_t comma = std::min(acceptLanguage.find(','), acceptLanguage.size() - 1);
        Wish wish = wishOf(
            acceptLanguage.substr(0, acceptLanguage[comma] == ',' ? comma : acceptLanguage.size()));
        acceptLanguage.remove_prefix(comma + 1);
        // RFC 4647, section 3.4: "de-at" finds "de".
        while (languages_.count(wish.language) == 0 && !wish.language.empty()) {
            const std::size_t dash = wish.language.rfind('-');
            wish.language.resize(dash == std::string::npos ? 0 : dash);
        }
        if (!wish.language.empty() && wish.weight > bestWeight) {
            best = wish.language;
            bestWeight = wish.weight;
        }
    }
    return best;
}

const std::string& Texts::text(const std::string& language, std::string_view key) const {
    static const std::string kNone;
    const Language& texts = languages_.at(language);
    const auto found = texts.find(key);
    return found != texts.end() ? found->second : kNone;
}

bool Texts::hasKey(std::string_view key) const {
    return languages_.at(kEnglish).find(key) != languages_.at(kEnglish).end();
}

std::string Texts::duration(const std::string& language, std::int64_t seconds) const {
    const auto part = [&](std::int64_t count, const char* unit) {
        return std::to_string(count) + "\u00a0" + text(language, unit);
    };
    const std::int64_t minutes = seconds / 60;
    if (minutes >= 48 * 60) {
        const std::int64_t hours = minutes / 60 % 24;
        return part(minutes / 1440, "unit-day") + (hours != 0 ? " " + part(hours, "unit-h") : "");
    }
    if (minutes >= 60) {
        const std::string rest = minutes % 60 != 0 ? " " + part(minutes % 60, "unit-min") : "";
        return part(minutes / 60, "unit-h") + rest;
    }
    return minutes > 0 ? part(minutes, "unit-min") : part(seconds, "unit-s");
}

std::string Texts::volume(const std::string& language, std::int64_t bytes) const {
    static constexpr std::array<const char*, 3> kUnits = {"unit-kb", "unit-mb", "unit-gb"};
    double amount = static_cast<double>(bytes) / 1000;
    std::size_t unit = 0;
    while (amount >= 999.5 && unit + 1 < kUnits.size()) {
        amount /= 1000;
        ++unit;
    }
    std::array<char, 32> number{};
    std::snprintf(number.data(), number.size(), amount < 9.95 && unit > 0 ? "%.1f" : "%.0f",
                  amount);
    std::string written = number.data();
    const std::size_t point = written.find('.');
    if (point != std::string::npos) {
        written.replace(point, 1, text(language, "decimal-point"));
    }
    return written + "\u00a0" + text(language, kUnits[unit]);
}

}  // namespace portald
