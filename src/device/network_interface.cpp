#include "device/network_interface.h"

#include <net/if.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <atomic>
#include <cstddef>
#include <cstring>

#include "core/data_parser.h"
#include "ostrel/runtime.h"

namespace vesta {
namespace {

// The socket for all questions, kept from the first one on, because each RADIUS request asks for
// the uplink's address. -1 when no descriptor is left.
int questionSocket() {
    static std::atomic<int> kept{-1};
    int fd = kept.load(std::memory_order_acquire);
    if (fd < 0) {
        ostrel::Fd made(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        if (kept.compare_exchange_strong(fd, made.get())) {
            fd = made.release();
        }
    }
    return fd;
}

bool askKernel(unsigned long question, const std::string& name, ifreq& request) {
    if (name.empty() || name.size() >= sizeof request.ifr_name) {
        return false;
    }
    name.copy(request.ifr_name, sizeof request.ifr_name - 1);
    return ioctl(questionSocket(), question, &request) == 0;
}

}  // namespace

std::string interfaceMac(const std::string& name) {
    ifreq request{};
    if (!askKernel(SIOCGIFHWADDR, name, request) || request.ifr_hwaddr.sa_family != ARPHRD_ETHER) {
        return "";
    }
    unsigned char mac[6];
    std::memcpy(mac, request.ifr_hwaddr.sa_data, sizeof mac);
    return DataParser::castRowMacToString(mac);
}

std::optional<in_addr> interfaceIpv4(const std::string& name) {
    ifreq request{};
    if (!askKernel(SIOCGIFADDR, name, request) || request.ifr_addr.sa_family != AF_INET) {
        return std::nullopt;
    }
    // sa_data of an IPv4 address: the port, then the address.
    constexpr std::size_t kAddressOffset = 2;
    in_addr address{};
    std::memcpy(&address, request.ifr_addr.sa_data + kAddressOffset, sizeof address);
    return address;
}

}  // namespace vesta
