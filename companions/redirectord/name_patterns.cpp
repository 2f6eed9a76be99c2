#include "redirectord/name_patterns.h"

#include <algorithm>

namespace redirectord {
namespace {

constexpr std::string_view kWildcards = "*?";

std::string normalised(std::string_view text) {
    if (!text.empty() && text.back() == '.') {
        text.remove_suffix(1);
    }
    std::string name(text);
    std::transform(name.begin(), name.end(), name.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return name;
}

bool hasWildcard(std::string_view text) {
    return text.find_first_of(kWildcards) != std::string_view::npos;
}

// After a mismatch only the last "*" seen takes one character more, so the time is bounded by the
// product of the lengths.
bool fits(std::string_view pattern, std::string_view name) {
    std::size_t p = 0;
    std::size_t n = 0;
    std::size_t star = std::string_view::npos;
    std::size_t taken = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            taken = n;
        } else if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == name[n])) {
            ++p;
            ++n;
        } else if (star != std::string_view::npos) {
            p = star + 1;
            n = ++taken;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

}  // namespace

void NamePatterns::add(std::string_view text) {
    std::string name = normalised(text);
    const bool isSuffix = name.size() > 2 && name.compare(0, 2, "*.") == 0 &&
                          !hasWildcard(std::string_view(name).substr(2));
    if (name.empty()) {
        return;
    }
    if (isSuffix) {
        suffixes_.insert(name.substr(2));
    } else if (hasWildcard(name)) {
        patterns_.insert(std::move(name));
    } else {
        names_.insert(std::move(name));
    }
}

bool NamePatterns::matches(const std::string& name) const {
    if (names_.count(name) != 0) {
        return true;
    }
    const std::string_view whole = name;
    for (std::size_t dot = whole.find('.'); dot != std::string_view::npos && !suffixes_.empty();
         dot = whole.find('.', dot + 1)) {
        if (suffixes_.find(whole.substr(dot + 1)) != suffixes_.end()) {
            return true;
        }
    }
    return std::any_of(patterns_.begin(), patterns_.end(),
                       [&name](const std::string& pattern) { return fits(pattern, name); });
}

std::string NamePatterns::text() const {
    std::string text;
    for (const std::string& name : names_) {
        text += name + "\n";
    }
    for (const std::string& suffix : suffixes_) {
        text += "*." + suffix + "\n";
    }
    for (const std::string& pattern : patterns_) {
        text += pattern + "\n";
    }
    return text;
}

}  // namespace redirectord
