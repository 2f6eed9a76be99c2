#pragma once

// A hardware address: six bytes in transmission order.

#include <array>
#include <string>

namespace vesta {

class MacAddr {
public:
    using Bytes = std::array<unsigned char, 6>;

    MacAddr() = default;
    explicit MacAddr(const Bytes& bytes) : bytes_(bytes) {}
    // "aa:bb:cc:dd:ee:ff"; any other text gives the zero address.
    explicit MacAddr(const std::string& text);

    [[nodiscard]] std::string to_string() const;
    [[nodiscard]] const Bytes& bytes() const { return bytes_; }
    [[nodiscard]] bool isZero() const { return bytes_ == Bytes{}; }

    friend bool operator==(const MacAddr& a, const MacAddr& b) { return a.bytes_ == b.bytes_; }
    friend bool operator!=(const MacAddr& a, const MacAddr& b) { return !(a == b); }

private:
    Bytes bytes_{};
};

}  // namespace vesta
