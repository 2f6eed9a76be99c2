#include "apbd/topics.h"

#include <algorithm>
#include <cctype>
#include <vector>

namespace apbd {
namespace {

constexpr const char* kHex = "0123456789ABCDEF";
constexpr const char* kWhiteList = "permitted-ip";

bool isPlain(unsigned char byte) {
    return byte >= 0x20 && byte < 0x7f && byte != '/' && byte != '+' && byte != '#' && byte != '%';
}

int hexValue(char digit) {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    const char lower = static_cast<char>(std::tolower(static_cast<unsigned char>(digit)));
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

std::vector<std::string_view> levelsOf(std::string_view topic) {
    std::vector<std::string_view> levels;
    std::size_t from = 0;
    for (;;) {
        const std::size_t slash = topic.find('/', from);
        if (slash == std::string_view::npos) {
            levels.push_back(topic.substr(from));
            return levels;
        }
        levels.push_back(topic.substr(from, slash - from));
        from = slash + 1;
    }
}

}  // namespace

std::string encodeLevel(std::string_view text) {
    std::string level;
    level.reserve(text.size());
    for (const char letter : text) {
        const auto byte = static_cast<unsigned char>(letter);
        if (isPlain(byte)) {
            level += letter;
        } else {
            level += {'%', kHex[byte >> 4], kHex[byte & 15]};
        }
    }
    return level;
}

std::optional<std::string> decodeLevel(std::string_view level) {
    std::string text;
    for (std::size_t i = 0; i < level.size(); ++i) {
        if (level[i] != '%') {
            text += level[i];
            continue;
        }
        const int high = i + 2 < level.size() ? hexValue(level[i + 1]) : -1;
        const int low = i + 2 < level.size() ? hexValue(level[i + 2]) : -1;
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        text += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return text;
}

std::string wrongRoot(const std::string& root) {
    if (root.empty() || root.size() > 256) {
        return "it must have 1 to 256 characters";
    }
    if (root[0] == '$') {
        return "topics that begin with '$' are the broker's own";
    }
    if (root.front() == '/' || root.back() == '/' || root.find("//") != std::string::npos) {
        return "no level of it may be empty";
    }
    const bool ok = std::all_of(root.begin(), root.end(), [](char letter) {
        return letter == '/' || letter == '%' || isPlain(static_cast<unsigned char>(letter));
    });
    return ok ? "" : "it must be of printable ASCII characters without '+' and '#'";
}

std::string Topics::record(const Key& key) const {
    return root_ + "/" + encodeLevel(key.scope.domain) + "/" + encodeLevel(key.scope.ssid) + "/" +
           encodeLevel(key.mac);
}

std::string Topics::marker(const std::string& instance) const {
    return root_ + "/marker/" + instance;
}

std::string Topics::filter(const Scope& scope) const {
    return root_ + "/" + encodeLevel(scope.domain) + "/" + encodeLevel(scope.ssid) + "/#";
}

std::optional<Topics::Place> Topics::place(const std::string& topic) const {
    if (topic.compare(0, root_.size() + 1, root_ + "/") != 0) {
        return std::nullopt;
    }
    const std::vector<std::string_view> levels =
        levelsOf(std::string_view(topic).substr(root_.size() + 1));
    if (levels.size() < 3 || levels.size() > 4) {
        return std::nullopt;
    }
    const auto domain = decodeLevel(levels[0]);
    const auto ssid = decodeLevel(levels[1]);
    const auto mac = decodeLevel(levels[2]);
    if (!domain || !ssid || !mac) {
        return std::nullopt;
    }
    Place place{{*domain, *ssid}, "", levels.size() == 4};
    if (*mac == kWhiteList) {
        return place;
    }
    place.mac = *mac;
    return levels.size() == 3 ? std::optional(place) : std::nullopt;
}

}  // namespace apbd
