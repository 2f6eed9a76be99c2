#pragma once

// One page as a template: text with placeholders in double braces.
//
//   {{name}}                     the value, escaped for HTML
//   {{#name}} ... {{/name}}      this part where the value is not empty
//   {{^name}} ... {{/name}}      this part where it is
//   {{>head}}                    a part of the page set that pages share: head, form or foot
//   {{!...}}                     a comment
//
// Threads: values; a template may be used from any thread.

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace portald {

// "&", "<", ">" and both quotes as HTML writes them.
[[nodiscard]] std::string escapeHtml(std::string_view text);

class PageTemplate {
public:
    // What stands for a name; "" for none.
    using Values = std::function<std::string(std::string_view name)>;
    // Whether a name may stand in a template.
    using IsName = std::function<bool(std::string_view name)>;
    // The template that is included under a name.
    using Parts = std::function<const PageTemplate&(std::string_view name)>;

    // Why a text is no template.
    struct Mistake : std::runtime_error {
        Mistake(int itsLine, const std::string& what) : std::runtime_error(what), line(itsLine) {}
        int line;
    };

    PageTemplate() = default;
    // Throws Mistake. `mayInclude`: false for a part, which includes no other.
    PageTemplate(std::string_view text, const IsName& isName, bool mayInclude);

    [[nodiscard]] std::string render(const Values& values, const Parts& parts) const;

private:
    enum class Kind { text, value, whenFilled, whenEmpty, part };
    struct Piece {
        Kind kind;
        std::string text;     // or the name
        std::size_t end = 0;  // of a section: the index behind its last piece
    };

    void addTag(std::string_view tag, int line, const IsName& isName, bool mayInclude);
    void closeSection(std::string_view name, int line);

    std::vector<Piece> pieces_;
    struct Open {
        std::size_t piece;
        int line;
    };
    std::vector<Open> open_;  // sections without their end so far
};

}  // namespace portald
