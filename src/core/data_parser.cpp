#include "core/data_parser.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <system_error>
#include <type_traits>

#include "ostrel/addresses.h"

namespace vesta {
namespace {

constexpr int kIpv4Bits = 32;
constexpr const char* kBlanks = " \t\n\v\f\r";

}  // namespace

// Gives what an input stream would, without making one: every counter of every station passes here
// once a second. A number out of range becomes the nearest limit; "-1" as unsigned wraps.
template <class T>
T DataParser::stringToType(const std::string& text) {
    using Magnitude = std::make_unsigned_t<T>;
    const char* const end = text.data() + text.size();
    const char* next = text.data() + std::min(text.find_first_not_of(kBlanks), text.size());
    const bool negative = next != end && *next == '-';
    if (next != end && (*next == '-' || *next == '+')) {
        ++next;
    }
    const bool belowZero = negative && std::is_signed_v<T>;
    const auto highest = static_cast<Magnitude>(std::numeric_limits<T>::max());
    const Magnitude limit = belowZero ? highest + 1 : highest;
    Magnitude value = 0;
    const std::errc problem = std::from_chars(next, end, value).ec;
    if (problem == std::errc::result_out_of_range || value > limit) {
        return belowZero ? std::numeric_limits<T>::min() : std::numeric_limits<T>::max();
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
    ostrel::MacBytes bytes;
    std::copy_n(mac, bytes.size(), bytes.begin());
    return ostrel::macText(bytes);
}

bool DataParser::parseMacFromString(const std::string& text, char* out) {
    const std::optional<ostrel::MacBytes> mac = ostrel::scanMac(text);
    if (mac.has_value()) {
        std::memcpy(out, mac->data(), mac->size());
    }
    return mac.has_value();
}

std::string DataParser::castRowIpToString(const unsigned char* ip) {
    in_addr address{};
    std::memcpy(&address, ip, sizeof address);
    return ostrel::ipv4Text(address);
}

std::string DataParser::castRowIpToString(in_addr ip) {
    return ostrel::ipv4Text(ip);
}

unsigned int DataParser::castStringToRawIpv4(const std::string& text) {
    return ostrel::parseIpv4(text).value_or(in_addr{}).s_addr;
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
