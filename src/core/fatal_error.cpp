#include "core/fatal_error.h"

#include <array>
#include <cstdarg>
#include <cstdio>

#include "core/logger.h"

namespace vesta {

void reportFatalError(const char* format, ...) {
    std::array<char, 1024> text{};
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    logger().Error("%s", text.data());
    std::fprintf(stderr, "vestad: %s", text.data());
}

}  // namespace vesta
