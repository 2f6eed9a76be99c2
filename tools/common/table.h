#pragma once

// Text tables for people at a terminal.

#include <string>
#include <vector>

namespace tools {

// `text` with '?' for each control character: what comes from a stranger, such as a login, must not
// steer the terminal.
std::string printable(std::string text);

// One line a row, columns as wide as their widest cell and two blanks apart, `indent` before each
// line. Rows may be shorter than others.
std::string table(const std::vector<std::vector<std::string>>& rows,
                  const std::string& indent = "");

}  // namespace tools
