#include "portald/page_template.h"

#include <algorithm>

namespace portald {
namespace {

constexpr std::string_view kOpening = "{{";
constexpr std::string_view kClosing = "}}";

int lineBreaks(std::string_view text) {
    return static_cast<int>(std::count(text.begin(), text.end(), '\n'));
}

std::string_view trimmed(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(" \t");
    const std::size_t end = text.find_last_not_of(" \t");
    return begin == std::string_view::npos ? "" : text.substr(begin, end - begin + 1);
}

std::string quoted(std::string_view name) {
    return "\"" + std::string(name.substr(0, 60)) + "\"";
}

}  // namespace

std::string escapeHtml(std::string_view text) {
    std::string escaped;
    escaped.reserve(text.size());
    for (const char c : text) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            case '\'':
                escaped += "&#39;";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

PageTemplate::PageTemplate(std::string_view text, const IsName& isName, bool mayInclude) {
    int line = 1;
    while (!text.empty()) {
        const std::size_t opening = std::min(text.find(kOpening), text.size());
        if (opening > 0) {
            pieces_.push_back({Kind::text, std::string(text.substr(0, opening))});
            line += lineBreaks(text.substr(0, opening));
            text.remove_prefix(opening);
            continue;
        }
        const std::size_t closing = text.find(kClosing);
        if (closing == std::string_view::npos) {
            throw Mistake(line, "\"{{\" without its \"}}\"");
        }
        const std::string_view tag = text.substr(kOpening.size(), closing - kOpening.size());
        addTag(tag, line, isName, mayInclude);
        line += lineBreaks(tag);
        text.remove_prefix(closing + kClosing.size());
    }
    if (!open_.empty()) {
        throw Mistake(open_.back().line,
                      "section " + quoted(pieces_[open_.back().piece].text) + " has no end");
    }
}

void PageTemplate::addTag(std::string_view tag, int line, const IsName& isName, bool mayInclude) {
    const char sign = tag.empty() ? '\0' : tag.front();
    if (sign == '!') {
        return;
    }
    const bool signedTag = sign == '#' || sign == '^' || sign == '/' || sign == '>';
    const std::string_view name = trimmed(signedTag ? tag.substr(1) : tag);
    if (sign == '/') {
        closeSection(name, line);
        return;
    }
    if (sign == '>') {
        if (!mayInclude || (name != "head" && name != "form" && name != "foot")) {
            throw Mistake(line, "nothing called " + quoted(name) + " can be included here");
        }
        pieces_.push_back({Kind::part, std::string(name)});
        return;
    }
    if (!isName(name)) {
        throw Mistake(line, "there is no value " + quoted(name));
    }
    const Kind kind = sign == '#' ? Kind::whenFilled : sign == '^' ? Kind::whenEmpty : Kind::value;
    if (kind != Kind::value) {
        open_.push_back({pieces_.size(), line});
    }
    pieces_.push_back({kind, std::string(name)});
}

void PageTemplate::closeSection(std::string_view name, int line) {
    if (open_.empty() || pieces_[open_.back().piece].text != name) {
        throw Mistake(line, "section " + quoted(name) + " ends, but did not begin");
    }
    pieces_[open_.back().piece].end = pieces_.size();
    open_.pop_back();
}

std::string PageTemplate::render(const Values& values, const Parts& parts) const {
    std::string page;
    for (std::size_t i = 0; i < pieces_.size(); ++i) {
        const Piece& piece = pieces_[i];
        switch (piece.kind) {
            case Kind::text:
                page += piece.text;
                break;
            case Kind::value:
                page += escapeHtml(values(piece.text));
                break;
            case Kind::whenFilled:
            case Kind::whenEmpty:
                if (values(piece.text).empty() == (piece.kind == Kind::whenFilled)) {
                    i = piece.end - 1;
                }
                break;
            case Kind::part:
                page += parts(piece.text).render(values, parts);
                break;
        }
    }
    return page;
}

}  // namespace portald
