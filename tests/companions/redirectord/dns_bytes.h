#pragma once

// DNS messages for tests, written by hand (RFC 1035, section 4).

#include <string>
#include <string_view>
#include <vector>

#include "redirectord/ip_address.h"

namespace vesta::testing::dns {

inline constexpr unsigned int kA = 1;
inline constexpr unsigned int kCname = 5;
inline constexpr unsigned int kTxt = 16;
inline constexpr unsigned int kAaaa = 28;
inline constexpr unsigned int kHttps = 65;

inline std::string word(unsigned int value) {
    return {static_cast<char>(value >> 8U), static_cast<char>(value)};
}

// "www.example.org" as labels.
inline std::string name(std::string_view text) {
    std::string bytes;
    for (std::size_t dot = 0; !text.empty(); text.remove_prefix(std::min(text.size(), dot + 1))) {
        dot = std::min(text.find('.'), text.size());
        bytes += static_cast<char>(dot);
        bytes += text.substr(0, dot);
    }
    return bytes + '\0';
}

inline std::string question(std::string_view asked, unsigned int type = kA) {
    return name(asked) + word(type) + word(1);
}

inline std::string query(unsigned int id, std::string_view asked, unsigned int type = kA) {
    return word(id) + word(0x0100) + word(1) + word(0) + word(0) + word(0) + question(asked, type);
}

inline std::string record(std::string_view owner, unsigned int type, unsigned int ttl,
                          const std::string& data) {
    return name(owner) + word(type) + word(1) + word(ttl >> 16U) + word(ttl & 0xffffU) +
           word(static_cast<unsigned int>(data.size())) + data;
}

inline std::string a(std::string_view owner, unsigned int ttl, const std::string& fourBytes) {
    return record(owner, kA, ttl, fourBytes);
}

inline std::string cname(std::string_view owner, std::string_view target) {
    return record(owner, kCname, 300, name(target));
}

// An answer with these records; `flags` is the second word: 0x8180 is a resolver's.
inline std::string answer(unsigned int id, const std::string& questionBytes,
                          const std::vector<std::string>& records, unsigned int flags = 0x8180) {
    std::string message = word(id) + word(flags) + word(1) +
                          word(static_cast<unsigned int>(records.size())) + word(0) + word(0) +
                          questionBytes;
    for (const std::string& one : records) {
        message += one;
    }
    return message;
}

}  // namespace vesta::testing::dns
