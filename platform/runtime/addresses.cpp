#include "ostrel/addresses.h"

#include <arpa/inet.h>

#include <cerrno>
#include <charconv>
#include <cstdio>

namespace ostrel {
namespace {

constexpr std::size_t kTextLength = 17;

}  // namespace

std::optional<MacBytes> parseMac(std::string_view text) {
    constexpr std::string_view kSeparators = ":-.";
    constexpr std::size_t kPair = 2;
    MacBytes mac;
    for (std::size_t i = 0; i < mac.size(); ++i) {
        if (i > 0 && !text.empty() && kSeparators.find(text.front()) != std::string_view::npos) {
            text.remove_prefix(1);
        }
        if (text.size() < kPair) {
            return std::nullopt;
        }
        const char* const end = text.data() + kPair;
        if (std::from_chars(text.data(), end, mac[i], 16).ptr != end) {
            return std::nullopt;
        }
        text.remove_prefix(kPair);
    }
    return text.empty() ? std::optional(mac) : std::nullopt;
}

std::optional<MacBytes> parseColonMac(std::string_view text) {
    if (text.size() != kTextLength) {
        return std::nullopt;
    }
    for (std::size_t i = 2; i < kTextLength; i += 3) {
        if (text[i] != ':') {
            return std::nullopt;
        }
    }
    return parseMac(text);
}

std::optional<MacBytes> scanMac(const std::string& text) {
    // sscanf() costs ten times as much, and every station's address passes here once a second.
    if (const auto usual = parseColonMac(std::string_view(text).substr(0, kTextLength))) {
        return usual;
    }
    std::array<unsigned int, std::tuple_size_v<MacBytes>> fields{};
    if (std::sscanf(text.c_str(), "%02x:%02x:%02x:%02x:%02x:%02x", &fields[0], &fields[1],
                    &fields[2], &fields[3], &fields[4],
                    &fields[5]) != static_cast<int>(fields.size())) {
        return std::nullopt;
    }
    MacBytes mac;
    for (std::size_t i = 0; i < mac.size(); ++i) {
        mac[i] = static_cast<std::uint8_t>(fields[i] & 0xffU);
    }
    return mac;
}

std::string macText(const MacBytes& mac) {
    static constexpr char kHexadecimal[] = "0123456789abcdef";
    std::string text(kTextLength, ':');
    for (std::size_t i = 0; i < mac.size(); ++i) {
        text[3 * i] = kHexadecimal[mac[i] >> 4U];
        text[3 * i + 1] = kHexadecimal[mac[i] & 15U];
    }
    return text;
}

std::optional<in_addr> parseIpv4(const std::string& text) {
    in_addr address{};
    if (inet_pton(AF_INET, text.c_str(), &address) != 1) {
        return std::nullopt;
    }
    return address;
}

std::string ipv4Text(in_addr address) {
    std::array<char, INET_ADDRSTRLEN> text{};
    inet_ntop(AF_INET, &address, text.data(), text.size());
    return text.data();
}

bool unixAddress(const std::string& path, sockaddr_un& address) {
    address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return false;
    }
    path.copy(address.sun_path, path.size());
    return true;
}

}  // namespace ostrel
