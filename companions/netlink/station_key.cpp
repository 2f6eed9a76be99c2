#include "netlink/station_key.h"

#include <algorithm>
#include <cstring>
#include <functional>

namespace companion {

bool isDeviceName(std::string_view name) {
    return !name.empty() && name.size() < 16 && name != "." && name != ".." &&
           std::all_of(name.begin(), name.end(), [](char one) {
               return one > ' ' && one != 0x7f && one != '/' && one != ':';
           });
}

StationKey::StationKey(std::string_view name, const Mac& address) : mac(address) {
    std::memcpy(device.data(), name.data(), std::min(name.size(), device.size() - 1));
}

std::optional<StationKey> StationKey::ofBytes(std::string_view bytes) {
    StationKey key;
    if (bytes.size() < kBytes) {
        return std::nullopt;
    }
    std::memcpy(key.device.data(), bytes.data(), key.device.size());
    std::memcpy(key.mac.data(), bytes.data() + key.device.size(), key.mac.size());
    const bool isGroup = (key.mac[0] & 1) != 0;  // nobody's own address
    return !isGroup && key.device.back() == '\0' && isDeviceName(key.device.data())
               ? std::optional(key)
               : std::nullopt;
}

std::string StationKey::bytes() const {
    std::string text(device.data(), device.size());
    text.append(reinterpret_cast<const char*>(mac.data()), mac.size());
    text.resize(kBytes);
    return text;
}

std::string StationKey::nftText() const {
    return '"' + deviceName() + "\" . " + ostrel::macText(mac);
}

std::size_t MacHash::operator()(const Mac& mac) const {
    std::uint64_t number = 0;
    for (const std::uint8_t byte : mac) {
        number = number << 8 | byte;
    }
    return std::hash<std::uint64_t>()(number * 0x9e3779b97f4a7c15U);
}

std::size_t StationKeyHash::operator()(const StationKey& key) const {
    return std::hash<std::string_view>()({key.device.data(), key.device.size()}) * 31 +
           MacHash()(key.mac);
}

}  // namespace companion
