#pragma once

// Who a station is to the companions: a device and a MAC. The same MAC on another device is another
// station.
//
// Threads: values, any.

#include <array>
#include <string_view>

#include "ostrel/addresses.h"

namespace companion {

using Mac = ostrel::MacBytes;

// Whether the kernel would take it as a device's name: 1 to 15 bytes without blank, '/' and ':'.
[[nodiscard]] bool isDeviceName(std::string_view name);

struct StationKey {
    std::array<char, 16> device{};  // padded with zeros, at least one
    Mac mac{};

    StationKey() = default;
    // `name` is cut to 15 bytes.
    StationKey(std::string_view name, const Mac& address);

    [[nodiscard]] std::string_view deviceName() const { return device.data(); }
};

struct MacHash {
    std::size_t operator()(const Mac& mac) const;
};

}  // namespace companion
