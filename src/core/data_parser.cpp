#include "core/data_parser.h"

#include <arpa/inet.h>

#include <array>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <type_traits>

namespace vesta {
namespace {

constexpr std::size_t kMacBytes = 6;
constexpr std::size_t kMacTextLength = 17;
constexpr int kIpv4Bits = 32;

bool isBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

int hexValue(char c) {
    if (isDigit(c)) {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

// "aa:bb:cc:00:11:22" alone, which is how every address but a hand-written one looks.
bool parseUsualMac(const std::string& text, char* out) {
    if (text.size() < kMacTextLength) {
        return false;
    }
    std::array<char, kMacBytes> bytes;
    for (std::size_t i = 0; i < kMacBytes; ++i) {
        const int high = hexValue(text[3 * i]);
        const int low = hexValue(text[3 * i + 1]);
        if (high < 0 || low < 0 || (i + 1 < kMacBytes && text[3 * i + 2] != ':')) {
            return false;
        }
        bytes[i] = static_cast<char>(high * 16 + low);
    }
    std::memcpy(out, bytes.data(), bytes.size());
    return true;
}

}  // namespace

// What an input stream gives, without a stream: every counter of every station passes here once a
// second. An out-of-range number becomes the nearest limit; "-1" read as unsigned wraps.
template <class T>
T DataParser::stringToType(const std::string& text) {
    using Magnitude = std::make_unsigned_t<T>;
    const char* next = text.data();
    const char* const end = next + text.size();
    while (next != end && isBlank(*next)) {
        ++next;
    }
    const bool negative = next != end && *next == '-';
    if (next != end && (*next == '-' || *next == '+')) {
        ++next;
    }
    const bool belowZero = negative && std::is_signed_v<T>;
    const auto highest = static_cast<Magnitude>(std::numeric_limits<T>::max());
    const Magnitude limit = belowZero ? highest + 1 : highest;
    Magnitude value = 0;
    for (; next != end && isDigit(*next); ++next) {
        const auto digit = static_cast<Magnitude>(*next - '0');
        if (value > (limit - digit) / 10) {
            return belowZero ? std::numeric_limits<T>::min() : std::numeric_limits<T>::max();
        }
        value = value * 10 + digit;
    }
    return static_cast<T>(negative ? Magnitude{0} - value : value);
}

template int DataParser::stringToType<int>(const std::string& text);
template unsigned int DataParser::stringToType<unsigned int>(const std::string& text);
template unsigned long DataParser::stringToType<unsigned long>(const std::string& text);
template long long DataParser::stringToType<long long>(const std::string& text);
template unsigned long long DataParser::stringToType<unsigned long long>(const std::string& text);

template <>
std::string DataParser::objectToString<int>(int value) {
    return std::to_string(value);
}

std::string DataParser::castMacToLogin(const std::string& mac) {
    std::string login = mac;
    for (char& c : login) {
        c = c == ':' ? '-' : static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return login;
}

std::string DataParser::castRowMacToString(const unsigned char* mac) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text(kMacTextLength, ':');
    for (std::size_t i = 0; i < kMacBytes; ++i) {
        text[3 * i] = kDigits[mac[i] >> 4];
        text[3 * i + 1] = kDigits[mac[i] & 15];
    }
    return text;
}

bool DataParser::parseMacFromString(const std::string& text, char* out) {
    if (parseUsualMac(text, out)) {
        return true;
    }
    std::array<unsigned int, kMacBytes> fields{};
    if (std::sscanf(text.c_str(), "%02x:%02x:%02x:%02x:%02x:%02x", &fields[0], &fields[1],
                    &fields[2], &fields[3], &fields[4], &fields[5]) != kMacBytes) {
        return false;
    }
    for (std::size_t i = 0; i < kMacBytes; ++i) {
        out[i] = static_cast<char>(fields[i] & 0xFF);
    }
    return true;
}

std::string DataParser::castRowIpToString(const unsigned char* ip) {
    in_addr address{};
    std::memcpy(&address, ip, sizeof address);
    return castRowIpToString(address);
}

std::string DataParser::castRowIpToString(in_addr ip) {
    std::array<char, INET_ADDRSTRLEN> text{};
    inet_ntop(AF_INET, &ip, text.data(), text.size());
    return text.data();
}

unsigned int DataParser::castStringToRawIpv4(const std::string& text) {
    in_addr address{};
    return inet_pton(AF_INET, text.c_str(), &address) == 1 ? address.s_addr : 0;
}

int DataParser::parseIpFromString(const std::string& text, in_addr* out) {
    return inet_aton(text.c_str(), out);
}

unsigned int DataParser::parseIpFromString(const std::string& text) {
    in_addr address{};
    return inet_aton(text.c_str(), &address) != 0 ? address.s_addr : 0;
}

int DataParser::parseCidrFromString(const std::string& text) {
    const int length = stringToType<int>(text);
    if (length < 0 || length > kIpv4Bits) {
        return -1;
    }
    // In 64 bits, since a shift by 32 has no meaning in 32.
    const std::uint64_t mask = std::uint64_t{0xFFFFFFFF} << (kIpv4Bits - length);
    return static_cast<int>(htonl(static_cast<std::uint32_t>(mask)));
}

unsigned int DataParser::parseSubnetMaskFromString(const std::string& text) {
    if (text.find('.') != std::string::npos) {
        return parseIpFromString(text);
    }
    return static_cast<unsigned int>(parseCidrFromString(text));
}

std::pair<unsigned int, unsigned int> DataParser::parseIpSubnetFromString(const std::string& text) {
    const std::size_t slash = text.find('/');
    if (slash == std::string::npos) {
        return {0, 0};
    }
    return {parseIpFromString(text.substr(0, slash)),
            parseSubnetMaskFromString(text.substr(slash + 1))};
}

std::pair<int, int> DataParser::extractVapIndexes(const std::string& interfaceName) {
    if (interfaceName.rfind("wlan", 0) != 0) {
        throw PARSER_BAD_FORMAT;
    }
    int radio = 0;
    int vap = 0;
    // Missing numbers stay 0, so the count of fields read doesn't matter.
    static_cast<void>(std::sscanf(interfaceName.c_str(), "wlan%i-va%i", &radio, &vap));
    return {radio, vap};
}

}  // namespace vesta
