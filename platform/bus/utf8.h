#pragma once

// Makes texts from elsewhere UTF-8. A RADIUS attribute, for example, may hold any bytes; a peer
// would close the connection for them.
//
// Threads: plain functions.

#include <string>
#include <string_view>

namespace ostrel::bus {

// `text` itself when it is UTF-8 (RFC 3629, section 4). Otherwise a copy, kept in `repaired`, with
// U+FFFD for each byte that belongs to no character.
[[nodiscard]] std::string_view asUtf8(std::string_view text, std::string& repaired);

}  // namespace ostrel::bus
