#pragma once

// What the fuzz targets share: how they break off, and how they cut their input.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace fuzz {

// A finding, unless the condition holds.
inline void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

// The input's lines, at most 32 of them, without their ends.
inline std::vector<std::string> linesOf(const std::uint8_t* data, std::size_t size) {
    const std::uint8_t* const end = data + size;
    std::vector<std::string> lines;
    while (data != end && lines.size() < 32) {
        const std::uint8_t* const lineEnd = std::find(data, end, '\n');
        lines.emplace_back(data, lineEnd);
        data = lineEnd == end ? end : lineEnd + 1;
    }
    return lines;
}

// The input as single bytes, and as pieces behind a byte that is their length.
class Pieces {
public:
    Pieces(const std::uint8_t* data, std::size_t size) : at_(data), end_(data + size) {}

    [[nodiscard]] bool empty() const { return at_ == end_; }
    // 0 behind the end.
    std::uint8_t byte() { return empty() ? std::uint8_t{0} : *at_++; }
    // Cut short at the end.
    std::string piece() {
        const std::size_t wanted = byte();
        const auto size = std::min<std::size_t>(wanted, static_cast<std::size_t>(end_ - at_));
        const std::string bytes(at_, at_ + size);
        at_ += size;
        return bytes;
    }

private:
    const std::uint8_t* at_;
    const std::uint8_t* end_;
};

}  // namespace fuzz
