#pragma once

// Text tables for people at a terminal.

#include <cstddef>
#include <string>
#include <vector>

namespace tools {

// `text` with '?' for each control character: what comes from a stranger, such as a login, must not
// steer the terminal.
std::string printable(std::string text);

// `text` (UTF-8) when it has at most `width` bytes, else its beginning and "..." in that space.
std::string cut(const std::string& text, std::size_t width);

// One line a row, columns as wide as their widest cell and two blanks apart, `indent` before each
// line. Rows may be shorter than others. With `width` the lines fit it: the widest columns get
// narrower, and their cells are cut.
std::string table(const std::vector<std::vector<std::string>>& rows, const std::string& indent = "",
                  std::size_t width = 0);

}  // namespace tools
