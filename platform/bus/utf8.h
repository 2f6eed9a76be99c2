#pragma once

// What the bus does about texts from elsewhere, a RADIUS attribute for one, whose bytes are not
// UTF-8: a peer that was sent them would have to close the connection.
//
// Threads: plain functions.

#include <string>
#include <string_view>

namespace ostrel::bus {

// `text` itself where it is UTF-8 (RFC 3629, section 4). Otherwise a copy, kept in `repaired`, with
// U+FFFD in the place of each byte that belongs to no character.
[[nodiscard]] std::string_view asUtf8(std::string_view text, std::string& repaired);

}  // namespace ostrel::bus
