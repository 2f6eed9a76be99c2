#pragma once

#include <algorithm>
#include <vector>

namespace vesta::bench {

// 0 of none.
inline double medianOf(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

}  // namespace vesta::bench
