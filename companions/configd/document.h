#pragma once

// The configuration file: JSON, in which comments (// and /* */) may stand.
//
// Threads: any.

#include <nlohmann/json.hpp>
#include <string>

namespace configd {

// What a file gave: the configuration, or why there is none.
struct Document {
    nlohmann::json config;
    std::string problem;  // "" when all is well; names line and column, or the key
};

// Larger files, and deeper ones, would not fit into a frame of the bus.
constexpr std::size_t kMaxBytes = 8U << 20;
constexpr int kMaxDepth = 28;

// `problem` never quotes what the text says there: that may be a password.
[[nodiscard]] Document parseDocument(const std::string& text);

// The same of the regular file `path`; here `problem` begins with the path.
[[nodiscard]] Document readDocument(const std::string& path);

}  // namespace configd
