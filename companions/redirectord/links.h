#pragma once

// The network interfaces: which captive devices are there, where their stations have their
// addresses, and the way to an address.
//
// Threads: the one that runs the event loop.

#include <netinet/in.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "common/event_loop.h"
#include "netlink/netlink_socket.h"
#include "ostrel/addresses.h"

namespace redirectord {

struct Link {
    std::string name;
    int master = 0;  // index of the bridge above, 0 when there is none
    std::uint32_t mtu = 0;
    ostrel::MacBytes mac{};

    bool operator==(const Link& other) const {
        return name == other.name && master == other.master && mtu == other.mtu && mac == other.mac;
    }
};

class Links {
public:
    // `changed` is called when something about a captive device or the bridge above it changed, and
    // once by start().
    Links(companion::EventLoop& loop, std::vector<std::string> captive,
          std::function<void()> changed);
    ~Links();
    Links(const Links&) = delete;
    Links& operator=(const Links&) = delete;

    // Throws std::system_error when the interfaces can't be read.
    void start();

    // Index and data of the captive devices that are there.
    [[nodiscard]] std::map<int, Link> captive() const;
    // Names of the interfaces on which their stations have their addresses: they, or the bridge
    // above.
    [[nodiscard]] std::set<std::string> networks() const;
    // The access point's own MACs towards the stations.
    [[nodiscard]] std::set<ostrel::MacBytes> ownMacs() const;
    // The name of the captive device with this index; nothing of another.
    [[nodiscard]] const Link* captiveDevice(int index) const;
    [[nodiscard]] std::uint32_t mtuOf(const std::string& name) const;

private:
    void readAll();
    void readChanges();
    bool note(const nlmsghdr& message);
    [[nodiscard]] bool isCaptive(const std::string& name) const;

    companion::EventLoop& loop_;
    const std::vector<std::string> names_;
    const std::function<void()> changed_;
    companion::NetlinkSocket changes_;
    companion::NetlinkSocket questions_;
    std::map<int, Link> links_;
};

// The IPv4 address that the access point has on one of these interfaces, the first that has one.
std::optional<in_addr> addressOn(const std::set<std::string>& interfaces);

// Sets `gateway` to the router on the way to `address`; 0.0.0.0 when it is reached without one. 0,
// or minus the error number (-ENETUNREACH).
int gatewayTo(in_addr address, in_addr& gateway);

}  // namespace redirectord
