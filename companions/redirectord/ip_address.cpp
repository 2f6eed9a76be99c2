#include "redirectord/ip_address.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstring>

namespace redirectord {
namespace {

bool isRoutableV4(const std::uint8_t* bytes) {
    return bytes[0] != 0 && bytes[0] != 127 && bytes[0] < 224 &&
           !(bytes[0] == 169 && bytes[1] == 254);
}

}  // namespace

IpAddress IpAddress::v4(const void* fourBytes) {
    IpAddress address;
    std::memcpy(address.bytes.data(), fourBytes, 4);
    return address;
}

IpAddress IpAddress::v6(const void* sixteenBytes) {
    IpAddress address;
    address.family = AF_INET6;
    std::memcpy(address.bytes.data(), sixteenBytes, address.bytes.size());
    return address;
}

std::string IpAddress::text() const {
    std::array<char, INET6_ADDRSTRLEN> buffer{};
    inet_ntop(family, bytes.data(), buffer.data(), buffer.size());
    return buffer.data();
}

bool IpAddress::isRoutable() const {
    if (family == AF_INET) {
        return isRoutableV4(bytes.data());
    }
    // ::/96 holds ::, ::1 and the old IPv4-compatible addresses; ::ffff:0:0/96 the mapped ones.
    const bool embedsV4 =
        std::all_of(bytes.begin(), bytes.begin() + 10, [](std::uint8_t one) { return one == 0; }) &&
        bytes[10] == bytes[11] && (bytes[10] == 0 || bytes[10] == 0xff);
    const bool isLinkLocal = bytes[0] == 0xfe && (bytes[1] & 0xc0U) == 0x80;
    return !embedsV4 && !isLinkLocal && bytes[0] != 0xff;
}

std::string IpRange::text() const {
    return first == last ? first.text() : first.text() + "-" + last.text();
}

IpRange IpRange::subnet(const IpAddress& address, unsigned int prefix) {
    IpRange range{address, address};
    for (std::size_t i = 0; i < address.size(); ++i) {
        const unsigned int kept = std::min<unsigned int>(prefix, 8);
        const auto host = static_cast<std::uint8_t>(0xffU >> kept);
        range.first.bytes[i] = static_cast<std::uint8_t>(address.bytes[i] & ~host);
        range.last.bytes[i] = static_cast<std::uint8_t>(address.bytes[i] | host);
        prefix -= kept;
    }
    return range;
}

}  // namespace redirectord
