#include "apsim/addresses.h"

#include <arpa/inet.h>

#include <array>
#include <cstdio>

namespace apsim {

namespace {
constexpr std::size_t kMacBytes = 6;
constexpr std::size_t kMacText = 17;
}  // namespace

std::string macText(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        std::array<char, 4> pair{};
        std::snprintf(pair.data(), pair.size(), "%02x", static_cast<unsigned char>(byte));
        text += (text.empty() ? "" : ":") + std::string(pair.data());
    }
    return text;
}

std::optional<std::string> macBytes(const std::string& text) {
    std::array<unsigned int, kMacBytes> values{};
    int used = 0;
    if (text.size() != kMacText ||
        std::sscanf(text.c_str(), "%2x:%2x:%2x:%2x:%2x:%2x%n", &values[0], &values[1], &values[2],
                    &values[3], &values[4], &values[5], &used) != static_cast<int>(kMacBytes) ||
        static_cast<std::size_t>(used) != kMacText) {
        return std::nullopt;
    }
    return std::string(values.begin(), values.end());
}

std::uint32_t parseAddress(const std::string& text) {
    in_addr address{};
    return inet_pton(AF_INET, text.c_str(), &address) == 1 ? ntohl(address.s_addr) : 0;
}

std::string addressText(std::uint32_t address) {
    const in_addr raw{htonl(address)};
    std::array<char, INET_ADDRSTRLEN> text{};
    return inet_ntop(AF_INET, &raw, text.data(), text.size());
}

}  // namespace apsim
