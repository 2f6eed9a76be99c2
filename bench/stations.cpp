#include "stations.h"

#include "ostrel/addresses.h"
#include "support/portal_document.h"

namespace vesta::bench {
namespace {

constexpr std::uint32_t kFirstAddress = 0x0a400001;  // 10.64.0.1

constexpr const char* kThreeScenarios = R"(
    {"access-type": "forbid", "name": "login", "redirect-url": "http://portal.example/login?x=1",
     "virtual-portal-name": "main", "auth-scenario": "guest", "white-list": "free"},
    {"access-type": "allow", "name": "guest", "deauth-scenario": "over",
     "transmit-maximum-speed": 2048, "receive-maximum-speed": 512, "expire-time": 86400,
     "transmit-maximum-bytes": 2000000000, "receive-maximum-bytes": 2000000000,
     "traffic-limit": 2000000000, "max-session-time": 86400, "away-timeout": 3600},
    {"access-type": "forbid", "name": "over", "redirect-url": "http://portal.example/over",
     "virtual-portal-name": "main", "auth-scenario": "guest", "white-list": ""})";

}  // namespace

std::string macOf(std::size_t station) {
    ostrel::MacBytes mac{0x02, 0xb0};
    for (std::size_t byte = 0; byte < sizeof(std::uint32_t); ++byte) {
        mac[5 - byte] = static_cast<std::uint8_t>(station >> 8 * byte & 0xffU);
    }
    return ostrel::macText(mac);
}

std::string ipOf(std::size_t station) {
    return ostrel::ipv4Text({htonl(kFirstAddress + static_cast<std::uint32_t>(station))});
}

std::string loginOf(std::size_t station) {
    return "user" + std::to_string(station);
}

std::string interfaceOf(std::size_t instance) {
    return "wlan0-va" + std::to_string(instance + 1);
}

std::string ssidOf(std::size_t instance) {
    return "Guest" + std::to_string(instance);
}

std::string configurationText(std::size_t instances) {
    std::string vaps;
    for (std::size_t i = 0; i < instances; ++i) {
        vaps += vaps.empty() ? "" : ",";
        vaps += testing::vapText(interfaceOf(i), ssidOf(i), "local", kThreeScenarios);
    }
    return testing::documentText(vaps);
}

}  // namespace vesta::bench
