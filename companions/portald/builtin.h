#pragma once

// The files of the built-in page set, compiled in from pages/.

#include <string_view>
#include <vector>

namespace portald {

struct Builtin {
    std::string_view name;  // without its ending: "login", "de"
    std::string_view content;
};

[[nodiscard]] const std::vector<Builtin>& builtinPages();
// English first.
[[nodiscard]] const std::vector<Builtin>& builtinTexts();

}  // namespace portald
