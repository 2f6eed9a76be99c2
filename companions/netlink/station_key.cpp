#include "netlink/station_key.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace companion {
namespace {

int digitOf(char one) {
    if (one >= '0' && one <= '9') {
        return one - '0';
    }
    const char lower = static_cast<char>(one | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

}  // namespace

std::string macText(const Mac& mac) {
    char text[18];
    std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2],
                  mac[3], mac[4], mac[5]);
    return text;
}

std::optional<Mac> parseMac(std::string_view text) {
    Mac mac{};
    if (text.size() != mac.size() * 3 - 1) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < mac.size(); ++i) {
        const int high = digitOf(text[i * 3]);
        const int low = digitOf(text[i * 3 + 1]);
        if (high < 0 || low < 0 || (i > 0 && text[i * 3 - 1] != ':')) {
            return std::nullopt;
        }
        mac[i] = static_cast<std::uint8_t>(high * 16 + low);
    }
    return mac;
}

bool isDeviceName(std::string_view name) {
    return !name.empty() && name.size() < 16 && name != "." && name != ".." &&
           std::all_of(name.begin(), name.end(), [](char one) {
               return one > ' ' && one != 0x7f && one != '/' && one != ':';
           });
}

StationKey::StationKey(std::string_view name, const Mac& address) : mac(address) {
    std::memcpy(device.data(), name.data(), std::min(name.size(), device.size() - 1));
}

std::size_t StationKeyHash::operator()(const StationKey& key) const {
    std::array<char, sizeof key.device + sizeof key.mac> bytes;
    std::memcpy(bytes.data(), key.device.data(), sizeof key.device);
    std::memcpy(bytes.data() + sizeof key.device, key.mac.data(), sizeof key.mac);
    return std::hash<std::string_view>()({bytes.data(), bytes.size()});
}

}  // namespace companion
