#pragma once

// What one white list allows: subnets, and host names and patterns.
//
// Threads: one at a time.

#include <string>
#include <string_view>
#include <vector>

#include "redirectord/ip_address.h"
#include "redirectord/name_patterns.h"

namespace redirectord {

class WhiteList {
public:
    // False for a mask whose set bits do not all stand in front.
    [[nodiscard]] bool addSubnet(const IpAddress& address, const IpAddress& mask);
    // A host name, a pattern, or an IPv6 address or subnet. Blanks around it do not count.
    void addText(std::string_view text);

    [[nodiscard]] const NamePatterns& names() const { return names_; }
    // Sorted, none overlapping another.
    [[nodiscard]] std::vector<IpRange> ranges(sa_family_t family) const;

    // 16 hexadecimal digits that stand for the content: lists with the same content have the same,
    // whatever the order in which it came and whichever process asks.
    [[nodiscard]] std::string digest() const;

private:
    std::vector<IpRange> ranges_;
    NamePatterns names_;
};

}  // namespace redirectord
