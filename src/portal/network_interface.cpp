#include "portal/network_interface.h"

#include <net/if.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cstring>

#include "core/data_parser.h"
#include "ostrel/runtime.h"

namespace vesta {

std::string interfaceMac(const std::string& name) {
    ifreq request{};
    if (name.empty() || name.size() >= sizeof request.ifr_name) {
        return "";
    }
    name.copy(request.ifr_name, sizeof request.ifr_name - 1);
    const ostrel::Fd socketFd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!socketFd.valid() || ioctl(socketFd.get(), SIOCGIFHWADDR, &request) != 0 ||
        request.ifr_hwaddr.sa_family != ARPHRD_ETHER) {
        return "";
    }
    unsigned char mac[6];
    std::memcpy(mac, request.ifr_hwaddr.sa_data, sizeof mac);
    return DataParser::castRowMacToString(mac);
}

}  // namespace vesta
