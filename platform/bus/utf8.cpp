#include "utf8.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>

namespace ostrel::bus {
namespace {

constexpr std::string_view kReplacement = "\xef\xbf\xbd";

// The characters of several bytes (RFC 3629, section 4), without those in more bytes than they
// need, the halves of UTF-16 pairs and those beyond U+10FFFF. From the third on every byte is 80 to
// BF.
struct Form {
    unsigned char firstLead, lastLead;
    unsigned char firstSecond, lastSecond;
    std::size_t length;
};
constexpr Form kForms[] = {
    {0xc2, 0xdf, 0x80, 0xbf, 2}, {0xe0, 0xe0, 0xa0, 0xbf, 3}, {0xe1, 0xec, 0x80, 0xbf, 3},
    {0xed, 0xed, 0x80, 0x9f, 3}, {0xee, 0xef, 0x80, 0xbf, 3}, {0xf0, 0xf0, 0x90, 0xbf, 4},
    {0xf1, 0xf3, 0x80, 0xbf, 4}, {0xf4, 0xf4, 0x80, 0x8f, 4},
};

bool within(char byte, unsigned char first, unsigned char last) {
    const unsigned char value = static_cast<unsigned char>(byte);
    return first <= value && value <= last;
}

bool begins(std::string_view text, const Form& form) {
    if (text.size() < form.length || !within(text[0], form.firstLead, form.lastLead) ||
        !within(text[1], form.firstSecond, form.lastSecond)) {
        return false;
    }
    const std::string_view rest = text.substr(2, form.length - 2);
    return std::all_of(rest.begin(), rest.end(), [](char c) { return within(c, 0x80, 0xbf); });
}

// The length of the character of several bytes at the beginning of `text`; 0 when there is none.
std::size_t characterLength(std::string_view text) {
    const auto form = std::find_if(std::begin(kForms), std::end(kForms),
                                   [text](const Form& one) { return begins(text, one); });
    return form == std::end(kForms) ? 0 : form->length;
}

// Frames have megabytes and are ASCII as a rule: eight bytes at a time.
std::size_t asciiLength(std::string_view text) {
    constexpr std::uint64_t kHighBits = 0x8080808080808080;
    std::size_t length = 0;
    for (std::uint64_t word = 0; length + sizeof word <= text.size(); length += sizeof word) {
        std::memcpy(&word, text.data() + length, sizeof word);
        if ((word & kHighBits) != 0) {
            break;
        }
    }
    while (length < text.size() && static_cast<unsigned char>(text[length]) < 0x80) {
        ++length;
    }
    return length;
}

std::size_t validLength(std::string_view text) {
    std::size_t length = 0;
    for (;;) {
        length += asciiLength(text.substr(length));
        const std::size_t next = characterLength(text.substr(length));
        if (next == 0) {
            return length;
        }
        length += next;
    }
}

}  // namespace

std::string_view asUtf8(std::string_view text, std::string& repaired) {
    std::size_t valid = validLength(text);
    if (valid == text.size()) {
        return text;
    }
    repaired.clear();
    while (valid < text.size()) {
        repaired.append(text.substr(0, valid)).append(kReplacement);
        text.remove_prefix(valid + 1);
        valid = validLength(text);
    }
    return repaired.append(text);
}

}  // namespace ostrel::bus
