#pragma once

// Who a station is to the companions: a device and a MAC. The same MAC on another device or bridge
// port is another station.
//
// Threads: values, any.

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "ostrel/addresses.h"

namespace companion {

using Mac = ostrel::MacBytes;

// Whether the kernel would take it as a device's name: 1 to 15 bytes without blank, '/' and ':'.
[[nodiscard]] bool isDeviceName(std::string_view name);

struct StationKey {
    // As an nftables set holds it: the device, the MAC, padding.
    static constexpr std::size_t kBytes = 24;

    std::array<char, 16> device{};  // padded with zeros, at least one
    Mac mac{};

    StationKey() = default;
    // `name` is cut to 15 bytes.
    StationKey(std::string_view name, const Mac& address);
    // The key that begins with bytes(); nothing when no station has it.
    static std::optional<StationKey> ofBytes(std::string_view bytes);

    [[nodiscard]] std::string bytes() const;
    [[nodiscard]] std::string deviceName() const { return device.data(); }
    // `"wlan0" . 02:00:00:00:00:01`, as nft reads it.
    [[nodiscard]] std::string nftText() const;

    bool operator==(const StationKey& other) const {
        return mac == other.mac && device == other.device;
    }
    bool operator<(const StationKey& other) const {
        return mac != other.mac ? mac < other.mac : device < other.device;
    }
};

struct MacHash {
    std::size_t operator()(const Mac& mac) const;
};

struct StationKeyHash {
    std::size_t operator()(const StationKey& key) const;
};

}  // namespace companion
