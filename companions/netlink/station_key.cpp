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

std::size_t MacHash::operator()(const Mac& mac) const {
    std::uint64_t number = 0;
    for (const std::uint8_t byte : mac) {
        number = number << 8 | byte;
    }
    return std::hash<std::uint64_t>()(number * 0x9e3779b97f4a7c15U);
}

}  // namespace companion
