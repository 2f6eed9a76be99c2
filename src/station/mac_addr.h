#pragma once

// A hardware address, by which the daemon knows every station. A text becomes an address where it
// comes in (a message, the factory's data), and an address becomes a text where it goes out (a log
// record, a message, a RADIUS attribute).

#include <string>

#include "ostrel/addresses.h"

namespace vesta {

class MacAddr {
public:
    using Bytes = ostrel::MacBytes;

    MacAddr() = default;
    explicit MacAddr(const Bytes& bytes) : bytes_(bytes) {}
    // What ostrel::scanMac() reads; any other text gives the zero address.
    explicit MacAddr(const std::string& text) : bytes_(ostrel::scanMac(text).value_or(Bytes{})) {}

    // "aa:bb:cc:dd:ee:ff"
    [[nodiscard]] std::string to_string() const { return ostrel::macText(bytes_); }
    [[nodiscard]] const Bytes& bytes() const { return bytes_; }
    [[nodiscard]] bool isZero() const { return bytes_ == Bytes{}; }

    friend bool operator==(const MacAddr& a, const MacAddr& b) { return a.bytes_ == b.bytes_; }
    friend bool operator!=(const MacAddr& a, const MacAddr& b) { return !(a == b); }
    friend bool operator<(const MacAddr& a, const MacAddr& b) { return a.bytes_ < b.bytes_; }

private:
    Bytes bytes_{};
};

}  // namespace vesta
