#pragma once

// Which host names a white list means: names, and patterns with "*" (any characters, dots too, or
// none) and "?" (one character). Upper and lower case are the same.
//
// Threads: one at a time.

#include <set>
#include <string>
#include <string_view>

namespace redirectord {

class NamePatterns {
public:
    // A name, or a pattern; a dot at the end is the same as none.
    void add(std::string_view text);

    // `name` is in lower case, without a dot at the end. Costs a look-up a label, and time for each
    // pattern that is not of the form "*.name".
    [[nodiscard]] bool matches(const std::string& name) const;

    [[nodiscard]] bool empty() const {
        return names_.empty() && suffixes_.empty() && patterns_.empty();
    }
    // All that was added, in one order whatever order it came in, a line each.
    [[nodiscard]] std::string text() const;

private:
    std::set<std::string, std::less<>> names_;
    std::set<std::string, std::less<>> suffixes_;  // "*.cdn.net" as "cdn.net"
    std::set<std::string> patterns_;
};

}  // namespace redirectord
