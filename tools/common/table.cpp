#include "common/table.h"

#include <algorithm>
#include <cctype>
#include <numeric>

namespace tools {

namespace {

constexpr std::size_t kGap = 2;  // blanks between two columns
constexpr std::size_t kNarrowest = 3;

// Takes from the widest columns what is more than `width`.
void narrow(std::vector<std::size_t>& widths, std::size_t width) {
    std::size_t total = std::accumulate(widths.begin(), widths.end(), (widths.size() - 1) * kGap);
    for (; total > width; --total) {
        std::size_t& widest = *std::max_element(widths.begin(), widths.end());
        if (widest <= kNarrowest) {
            return;
        }
        --widest;
    }
}

}  // namespace

std::string printable(std::string text) {
    std::replace_if(
        text.begin(), text.end(),
        [](char byte) { return std::iscntrl(static_cast<unsigned char>(byte)) != 0; }, '?');
    return text;
}

std::string cut(const std::string& text, std::size_t width) {
    static const std::string kMark = "...";
    if (text.size() <= width) {
        return text;
    }
    std::size_t end = width < kMark.size() ? 0 : width - kMark.size();
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0U) == 0x80U) {
        --end;  // not within a character
    }
    return text.substr(0, end) + kMark.substr(0, width);
}

std::string table(const std::vector<std::vector<std::string>>& rows, const std::string& indent,
                  std::size_t width) {
    std::vector<std::size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], row[column].size());
        }
    }
    if (width > indent.size() && !widths.empty()) {
        narrow(widths, width - indent.size());
    }
    std::string text;
    for (const auto& row : rows) {
        std::string line = indent;
        for (std::size_t column = 0; column < row.size(); ++column) {
            const std::string cell = cut(row[column], widths[column]);
            line += printable(cell);
            line.append(widths[column] - cell.size() + kGap, ' ');
        }
        text += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
    }
    return text;
}

}  // namespace tools
