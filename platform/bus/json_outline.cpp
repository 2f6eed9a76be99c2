#include "json_outline.h"

#include <algorithm>

namespace ostrel::bus {
namespace {

constexpr std::size_t kMaxMember = 4096;
constexpr std::string_view kWhiteSpace = " \t\r\n";
constexpr std::string_view kEndsOfScalar = ",:]} \t\r\n";

// Goes along a text. A step that finds something else than it expects returns false.
class Walk {
public:
    explicit Walk(std::string_view text) : text_(text) {}

    [[nodiscard]] bool atEnd() const { return at_ == text_.size(); }
    [[nodiscard]] char next() const { return atEnd() ? '\0' : text_[at_]; }
    [[nodiscard]] std::size_t position() const { return at_; }
    [[nodiscard]] std::string_view since(std::size_t begin) const {
        return text_.substr(begin, at_ - begin);
    }

    void skipWhiteSpace() {
        at_ = std::min(text_.find_first_not_of(kWhiteSpace, at_), text_.size());
    }
    bool skip(char expected) {
        const bool found = !atEnd() && text_[at_] == expected;
        at_ += found ? 1U : 0U;
        return found;
    }
    bool skipString() {
        if (!skip('"')) {
            return false;
        }
        while (!atEnd() && text_[at_] != '"') {
            at_ = std::min(at_ + (text_[at_] == '\\' ? 2U : 1U), text_.size());
        }
        return skip('"');
    }
    bool skipValue() {
        if (next() == '"') {
            return skipString();
        }
        if (next() == '{' || next() == '[') {
            return skipContainer();
        }
        const std::size_t begin = at_;
        at_ = std::min(text_.find_first_of(kEndsOfScalar, at_), text_.size());
        return at_ > begin;
    }

private:
    bool skipContainer() {
        std::size_t depth = 0;
        do {
            const char c = next();
            if (c == '"') {
                if (!skipString()) {
                    return false;
                }
                continue;
            }
            depth += c == '{' || c == '[' ? 1U : 0U;
            depth -= c == '}' || c == ']' ? 1U : 0U;
            ++at_;
        } while (depth > 0 && !atEnd());
        return depth == 0;
    }

    std::string_view text_;
    std::size_t at_ = 0;
};

bool isWanted(std::string_view key, WithContext context) {
    return key == "\"command\"" || key == "\"cmd\"" ||
           (context == WithContext::yes && key == "\"context\"");
}

// One member, behind the brace or the comma before it.
bool outlineMember(Walk& walk, WithContext context, std::string& outline) {
    const std::size_t begin = walk.position();
    if (!walk.skipString()) {
        return false;
    }
    const std::string_view key = walk.since(begin);
    walk.skipWhiteSpace();
    if (!walk.skip(':')) {
        return false;
    }
    walk.skipWhiteSpace();
    const std::size_t valueBegin = walk.position();
    if (!walk.skipValue()) {
        return false;
    }
    const std::string_view value = walk.since(valueBegin);
    if (isWanted(key, context) && value.size() <= kMaxMember) {
        outline.append(outline.size() > 1 ? "," : "").append(key).append(":").append(value);
    }
    walk.skipWhiteSpace();
    return true;
}

// What json-c would build of a text. Each value but the first stands behind a comma or an opening
// bracket, or behind a key that does.
struct Tally {
    // Beyond a plain value: an object begins with room for 16 members, an array for 32 elements;
    // a member has a key, and its place in a table that doubles when it is full.
    void addExtra(char c) {
        extraBytes += c == '{' ? 750U : c == '[' ? 300U : c == ':' ? 250U : 0U;
    }

    // The texts inside take as much again as they do in `json`.
    [[nodiscard]] bool exceeds(std::string_view json, bool bounded) const {
        constexpr std::size_t kPlainBytes = 80;
        return values > kMaxJsonNodes ||
               (bounded && 2 * json.size() + kPlainBytes * values + extraBytes > kMaxBuiltBytes);
    }

    std::size_t values = 1;
    std::size_t extraBytes = 0;
};

}  // namespace

bool isTooLarge(std::string_view json, bool bounded) {
    // Signs within strings count too, at first: the count alone is fast, and few texts come near
    // the bounds.
    Tally tally;
    for (const char c : json) {
        tally.values += c == ',' || c == '[' || c == '{' ? 1U : 0U;
        tally.addExtra(c);
    }
    if (!tally.exceeds(json, bounded)) {
        return false;
    }
    tally = Tally();
    Walk walk(json);
    for (bool going = true; going && !walk.atEnd() && !tally.exceeds(json, bounded);) {
        const char c = walk.next();
        going = c == '"' ? walk.skipString() : walk.skip(c);
        if (c == '[' || c == '{') {
            walk.skipWhiteSpace();
            tally.values += walk.next() != ']' && walk.next() != '}' ? 1U : 0U;  // the first inside
        }
        tally.values += c == ',' ? 1U : 0U;
        tally.addExtra(c);
    }
    return tally.exceeds(json, bounded);
}

std::optional<std::string> jsonOutline(std::string_view json, WithContext context) {
    Walk walk(json);
    walk.skipWhiteSpace();
    std::string outline;
    bool whole = true;
    if (walk.skip('{')) {
        outline = "{";
        walk.skipWhiteSpace();
        while (whole && walk.next() != '}') {
            whole = outlineMember(walk, context, outline) && (walk.next() == '}' || walk.skip(','));
            walk.skipWhiteSpace();
        }
        outline += "}";
        whole = whole && walk.skip('}');
    } else {
        whole = walk.skipValue();
    }
    walk.skipWhiteSpace();
    return whole && walk.atEnd() ? std::optional(outline) : std::nullopt;
}

}  // namespace ostrel::bus
