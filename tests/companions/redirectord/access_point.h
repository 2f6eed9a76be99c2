#pragma once

// An access point in a namespace, a station behind each of its devices, and an internet:
//
//     station 1 -- va1 [access point] up0 -- internet (192.0.2.1, 2001:db8::1)
//     station 2 -- va2
//
// Routed, va<n> has the network 10.77.<n>.0/24 and fd77:<n>::/64; bridged, both are ports of br0
// with 10.77.1.0/24 and fd77:1::/64. The access point has the first address of each, station n the
// host number 10 + n and the MAC 02:00:00:00:01:0n. Nothing is translated: the internet knows the
// way back.
//
// Threads: one.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "network.h"

namespace vesta::testing {

enum class Layout { routed, bridged };

inline constexpr const char* kInternet = "192.0.2.1";
inline constexpr const char* kInternet6 = "2001:db8::1";

struct SimulatedStation {
    NetNamespace space;
    std::string device;  // of the access point
    std::string mac;
    std::string ip;
    std::string ip6;
};

class AccessPointNetwork {
public:
    explicit AccessPointNetwork(Layout layout = Layout::routed, int stations = 2)
        : layout_(layout) {
        connect(ap, "up0", internet, "eth0");
        ap.run("sysctl -qw net.ipv4.ip_forward=1 net.ipv6.conf.all.forwarding=1");
        ap.run("ip addr add 192.0.2.2/24 dev up0; ip -6 addr add 2001:db8::2/64 dev up0 nodad");
        internet.run(
            "ip addr add 192.0.2.1/24 dev eth0;"
            "ip -6 addr add 2001:db8::1/64 dev eth0 nodad;"
            "ip route add 10.77.0.0/16 via 192.0.2.2;"
            "ip -6 route add fd77::/16 via 2001:db8::2");
        if (layout == Layout::bridged) {
            ap.run("ip link add br0 type bridge; ip link set br0 up");
            address("br0", 1);
        }
        for (int number = 1; number <= stations; ++number) {
            addStation(number);
        }
    }

    // Station `number`, from 1.
    [[nodiscard]] const SimulatedStation& station(int number) const {
        return *stations_[static_cast<std::size_t>(number) - 1];
    }

    // Makes station `number` with its device, in place of one whose device has gone.
    void addStation(int number) {
        const bool routed = layout_ == Layout::routed;
        const std::string host = std::to_string(10 + number);
        const std::string net = std::to_string(routed ? number : 1);
        auto station = std::make_unique<SimulatedStation>();
        station->device = "va" + std::to_string(number);
        station->mac = "02:00:00:00:01:0" + std::to_string(number);
        station->ip = "10.77." + net + "." + host;
        station->ip6 = "fd77:" + net + "::" + host;
        connect(ap, station->device, station->space, "eth0");
        if (routed) {
            address(station->device, number);
        } else {
            ap.run("ip link set " + station->device + " master br0");
        }
        station->space.run("ip link set eth0 address " + station->mac + "; ip addr add " +
                           station->ip + "/24 dev eth0; ip -6 addr add " + station->ip6 +
                           "/64 dev eth0 nodad; ip route add default via 10.77." + net +
                           ".1; ip -6 route add default via fd77:" + net + "::1");
        if (stations_.size() < static_cast<std::size_t>(number)) {
            stations_.resize(static_cast<std::size_t>(number));
        }
        stations_[static_cast<std::size_t>(number) - 1] = std::move(station);
    }

    NetNamespace ap;
    NetNamespace internet;

private:
    static void connect(const NetNamespace& here, const std::string& device,
                        const NetNamespace& there, const std::string& peer) {
        const std::string target = "/proc/" + std::to_string(getpid()) + "/fd/";
        here.run("ip link add " + device + " type veth peer name " + peer + " netns " + target +
                 std::to_string(there.fd()) + " && ip link set " + device + " up");
        there.run("ip link set " + peer + " up");
    }
    void address(const std::string& device, int net) {
        const std::string number = std::to_string(net);
        ap.run("ip addr add 10.77." + number + ".1/24 dev " + device +
               "; ip -6 addr add fd77:" + number + "::1/64 dev " + device + " nodad");
    }
    Layout layout_;
    std::vector<std::unique_ptr<SimulatedStation>> stations_;
};

// A test with real packets; skipped where the system makes no namespaces.
class NetworkTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!enterOwnNamespaces()) {
            GTEST_SKIP() << "needs root or user namespaces: there is no network to test in";
        }
    }
};

}  // namespace vesta::testing
