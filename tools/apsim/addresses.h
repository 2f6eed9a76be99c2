#pragma once

// Texts of MAC and IPv4 addresses.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace apsim {

// "02:00:00:00:00:01" of six bytes.
std::string macText(std::string_view bytes);
// The six bytes of such a text (either letter case); nothing when it is none.
std::optional<std::string> macBytes(const std::string& text);

// A dotted address in host order; 0 when it is none.
std::uint32_t parseAddress(const std::string& text);
std::string addressText(std::uint32_t address);

}  // namespace apsim
