#pragma once

// What tells stations apart: the device that they came in by, and their MAC. The same MAC on
// another device or bridge port is another station. Values, without threads.

#include <array>
#include <cstddef>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>

#include "ostrel/addresses.h"

namespace redirectord {

struct StationKey {
    std::array<char, 16> device{};  // the Linux device's name, padded with zeroes
    ostrel::MacBytes mac{};

    // `name` has at most 15 bytes; what is longer is cut.
    static StationKey of(std::string_view name, const ostrel::MacBytes& mac) {
        StationKey key;
        key.mac = mac;
        name.copy(key.device.data(), key.device.size() - 1);
        return key;
    }
    [[nodiscard]] std::string deviceName() const { return device.data(); }
    // `"wlan0" . 02:00:00:00:00:01`, as nft reads an element of type ifname . ether_addr.
    [[nodiscard]] std::string nftText() const {
        return '"' + deviceName() + "\" . " + ostrel::macText(mac);
    }
    // The same as the kernel holds it: 16 bytes and 6, padded to 8.
    [[nodiscard]] std::string bytes() const {
        std::string text(device.data(), device.size());
        text.append(reinterpret_cast<const char*>(mac.data()), mac.size());
        return text.append(2, '\0');
    }
    // The key that begins with the 22 bytes of device and MAC.
    static StationKey ofBytes(std::string_view bytes) {
        StationKey key;
        bytes.copy(key.device.data(), key.device.size());
        std::memcpy(key.mac.data(), bytes.data() + key.device.size(), key.mac.size());
        return key;
    }
    bool operator==(const StationKey& other) const {
        return mac == other.mac && device == other.device;
    }
    bool operator<(const StationKey& other) const {
        return mac != other.mac ? mac < other.mac : device < other.device;
    }
};

struct StationKeyHash {
    std::size_t operator()(const StationKey& key) const {
        return std::hash<std::string_view>()({key.device.data(), key.device.size()}) * 31 +
               std::hash<std::string_view>()(
                   {reinterpret_cast<const char*>(key.mac.data()), key.mac.size()});
    }
};

}  // namespace redirectord
