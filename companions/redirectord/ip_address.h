#pragma once

// An IPv4 or IPv6 address as a value. Any thread.

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstdint>
#include <string>
#include <tuple>

namespace redirectord {

struct IpAddress {
    sa_family_t family = AF_INET;          // AF_INET or AF_INET6
    std::array<std::uint8_t, 16> bytes{};  // network order; the last 12 are 0 for AF_INET

    static IpAddress v4(const void* fourBytes);
    static IpAddress v6(const void* sixteenBytes);

    [[nodiscard]] std::size_t size() const { return family == AF_INET ? 4 : 16; }
    [[nodiscard]] std::string text() const;
    // Whether a packet for it could travel to a host beyond this one: not unspecified, loopback,
    // link-local, multicast or broadcast, and no such IPv4 address within an IPv6 one.
    [[nodiscard]] bool isRoutable() const;

    friend bool operator==(const IpAddress& a, const IpAddress& b) {
        return a.family == b.family && a.bytes == b.bytes;
    }
    friend bool operator<(const IpAddress& a, const IpAddress& b) {
        return std::tie(a.family, a.bytes) < std::tie(b.family, b.bytes);
    }
};

// The addresses from `first` to `last`, both included.
struct IpRange {
    IpAddress first;
    IpAddress last;

    // "192.0.2.1-192.0.2.255", as nft reads it; one address alone without "-".
    [[nodiscard]] std::string text() const;
    // The subnet of `prefix` bits that `address` is in.
    static IpRange subnet(const IpAddress& address, unsigned int prefix);
};

}  // namespace redirectord
