#include "common/table.h"

#include <algorithm>
#include <cctype>

namespace tools {

std::string printable(std::string text) {
    std::replace_if(
        text.begin(), text.end(),
        [](char byte) { return std::iscntrl(static_cast<unsigned char>(byte)) != 0; }, '?');
    return text;
}

std::string table(const std::vector<std::vector<std::string>>& rows, const std::string& indent) {
    std::vector<std::size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], row[column].size());
        }
    }
    std::string text;
    for (const auto& row : rows) {
        std::string line = indent;
        for (std::size_t column = 0; column < row.size(); ++column) {
            line += printable(row[column]);
            line.append(widths[column] - row[column].size() + 2, ' ');
        }
        text += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
    }
    return text;
}

}  // namespace tools
