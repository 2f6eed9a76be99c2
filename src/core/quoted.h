#pragma once

// Messages of others as they may stand in the log.

#include <string>
#include <string_view>

namespace vesta {

// The beginning of a JSON text, at most 200 bytes of it, on one line: with "***" for the value of
// each key that holds a password or a secret, and blanks for control characters. Any thread.
[[nodiscard]] std::string quotedForLog(std::string_view json);

}  // namespace vesta
