#pragma once

// Who a station is to the companions: a device and a MAC. The same MAC on another device is another
// station.
//
// Threads: values, any.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace companion {

using Mac = std::array<std::uint8_t, 6>;

// "02:00:00:00:00:01"
[[nodiscard]] std::string macText(const Mac& mac);
// Six pairs of hexadecimal digits with colons between them, and nothing else.
[[nodiscard]] std::optional<Mac> parseMac(std::string_view text);

// Whether the kernel would take it as a device's name: 1 to 15 bytes without blank, '/' and ':'.
[[nodiscard]] bool isDeviceName(std::string_view name);

struct StationKey {
    std::array<char, 16> device{};  // padded with zeros, at least one
    Mac mac{};

    StationKey() = default;
    // `name` is cut to 15 bytes.
    StationKey(std::string_view name, const Mac& address);

    [[nodiscard]] std::string_view deviceName() const { return device.data(); }
    bool operator==(const StationKey& other) const {
        return mac == other.mac && device == other.device;
    }
};

struct StationKeyHash {
    std::size_t operator()(const StationKey& key) const;
};

}  // namespace companion
