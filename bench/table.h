#pragma once

// The rows of the table that scripts/bench prints, on standard output: what was measured, what it
// is held to, what came out, whether it is met, with "|" between.

#include <string>

namespace vesta::bench {

void printRow(const std::string& what, const std::string& bound, const std::string& measured,
              bool met);

// "1.53"
std::string twoDigits(double value);

}  // namespace vesta::bench
