#pragma once

// How long something takes, and the middle of many such times.

#include <algorithm>
#include <chrono>
#include <vector>

namespace vesta::bench {

// 0 of none.
inline double medianOf(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

template <typename Work>
double millisecondsOf(Work work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin)
        .count();
}

}  // namespace vesta::bench
