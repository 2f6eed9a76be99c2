#pragma once

// What can be told of a JSON text without building it: whether it is too large, and who must be
// answered. Nothing here recurses or allocates more than the outline.
//
// Threads: functions without state.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace ostrel::bus {

// Values of a text at most, the containers among them: built, a value takes up to 200 bytes.
inline constexpr std::size_t kMaxJsonNodes = 500000;

// What a text of anybody but the daemons may take, with all that is built of it, in bytes. Objects
// are dear: half a million empty ones would take 400 MB.
inline constexpr std::size_t kMaxBuiltBytes = 60 * 1024 * 1024;

// Whether `json` has more than kMaxJsonNodes values or, when `bounded`, would take more than
// kMaxBuiltBytes.
[[nodiscard]] bool isTooLarge(std::string_view json, bool bounded);

enum class WithContext { no, yes };

// An object with the members "command", "cmd" and, `context`, "context" of the object `json`, those
// of up to 4 KiB; "" when `json` is another value. Nothing when its brackets or strings don't
// close.
[[nodiscard]] std::optional<std::string> jsonOutline(std::string_view json, WithContext context);

}  // namespace ostrel::bus
