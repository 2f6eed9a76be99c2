#include "redirectord/white_list.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <optional>

namespace redirectord {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    return first == std::string_view::npos
               ? std::string_view()
               : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// "2001:db8::/32" or "2001:db8::1".
std::optional<IpRange> ipv6Range(std::string_view text) {
    const std::size_t slash = text.find('/');
    unsigned int prefix = 128;
    if (slash != std::string_view::npos) {
        const char* const end = text.data() + text.size();
        const auto read = std::from_chars(text.data() + slash + 1, end, prefix);
        if (read.ec != std::errc() || read.ptr != end || prefix > 128) {
            return std::nullopt;
        }
    }
    IpAddress address;
    address.family = AF_INET6;
    const std::string host(text.substr(0, slash));
    if (inet_pton(AF_INET6, host.c_str(), address.bytes.data()) != 1) {
        return std::nullopt;
    }
    return IpRange::subnet(address, prefix);
}

// FNV-1a, 64 bits. The text comes from this host's own portal daemon, nobody forges it.
std::uint64_t hashOf(std::string_view text) {
    std::uint64_t hash = 0xcbf29ce484222325U;
    for (const char c : text) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
    }
    return hash;
}

}  // namespace

bool WhiteList::addSubnet(const IpAddress& address, const IpAddress& mask) {
    unsigned int prefix = 0;
    while (prefix < 8 * mask.size() && (mask.bytes[prefix / 8] << prefix % 8 & 0x80) != 0) {
        ++prefix;
    }
    const IpAddress highest{address.family, {0xff, 0xff, 0xff, 0xff}};
    if (!(IpRange::subnet(highest, prefix).first == mask)) {
        return false;
    }
    ranges_.push_back(IpRange::subnet(address, prefix));
    return true;
}

void WhiteList::addText(std::string_view text) {
    text = trimmed(text);
    if (const std::optional<IpRange> range = ipv6Range(text)) {
        ranges_.push_back(*range);
    } else {
        names_.add(text);
    }
}

std::vector<IpRange> WhiteList::ranges(sa_family_t family) const {
    std::vector<IpRange> sorted;
    std::copy_if(ranges_.begin(), ranges_.end(), std::back_inserter(sorted),
                 [family](const IpRange& one) { return one.first.family == family; });
    std::sort(sorted.begin(), sorted.end(),
              [](const IpRange& a, const IpRange& b) { return a.first < b.first; });
    std::vector<IpRange> merged;
    for (const IpRange& range : sorted) {
        if (merged.empty() || merged.back().last < range.first) {
            merged.push_back(range);
        } else {
            merged.back().last = std::max(merged.back().last, range.last);
        }
    }
    return merged;
}

std::string WhiteList::digest() const {
    std::string text = names_.text();
    for (const sa_family_t family : {sa_family_t{AF_INET}, sa_family_t{AF_INET6}}) {
        for (const IpRange& range : ranges(family)) {
            text += range.text() + "\n";
        }
    }
    std::array<char, 17> digits{};
    std::snprintf(digits.data(), digits.size(), "%016llx",
                  static_cast<unsigned long long>(hashOf(text)));
    return digits.data();
}

}  // namespace redirectord
