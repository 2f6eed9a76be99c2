#include "table.h"

#include <cstdio>

namespace vesta::bench {

void printRow(const std::string& what, const std::string& bound, const std::string& measured,
              bool met) {
    std::printf("%s|%s|%s|%s\n", what.c_str(), bound.c_str(), measured.c_str(), met ? "yes" : "NO");
    std::fflush(stdout);
}

std::string twoDigits(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", value);
    return text;
}

}  // namespace vesta::bench
