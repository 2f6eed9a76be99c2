#pragma once

// Addresses and their texts: hardware (MAC) addresses, IPv4 addresses, paths of Unix sockets.
//
// Every function may be called from any thread. None keeps anything.

#include <netinet/in.h>
#include <sys/un.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ostrel {

// A hardware address, in the order of transmission.
using MacBytes = std::array<std::uint8_t, 6>;

// The address that `text` spells: six pairs of hexadecimal digits in either case, with ":", "-",
// "." or nothing between two pairs. Nothing when the text is anything else.
[[nodiscard]] std::optional<MacBytes> parseMac(std::string_view text);

// The same, but there must be a ":" between each two pairs.
[[nodiscard]] std::optional<MacBytes> parseColonMac(std::string_view text);

// The address that `text` begins with, as sscanf() reads it with
// "%02x:%02x:%02x:%02x:%02x:%02x": a field may have a single digit, and blanks before it. What
// follows the last field does not matter. Nothing when a field is missing.
[[nodiscard]] std::optional<MacBytes> scanMac(const std::string& text);

// "aa:bb:cc:dd:ee:ff"
[[nodiscard]] std::string macText(const MacBytes& mac);

// The address that `text` spells as four decimal numbers with dots between them. Nothing when the
// text is anything else.
[[nodiscard]] std::optional<in_addr> parseIpv4(const std::string& text);

// "192.0.2.1"
[[nodiscard]] std::string ipv4Text(in_addr address);

// Sets `address` to the Unix socket at `path`. False, with errno ENAMETOOLONG, when the path is too
// long for a socket.
[[nodiscard]] bool unixAddress(const std::string& path, sockaddr_un& address);

}  // namespace ostrel
