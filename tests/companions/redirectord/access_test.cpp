// What a station may do in each of its states, with real packets.

#include "service_fixture.h"

namespace vesta::testing {
namespace {

// So long an answer is waited for that must not come.
constexpr std::chrono::milliseconds kSilence(700);

const char* nameOf(Layout layout) {
    return layout == Layout::routed ? "routed" : "bridged";
}

class AccessTest : public ServiceTest {};

TEST_F(AccessTest, a_new_station_is_announced_and_finds_the_portal_alone) {
    for (const Layout layout : {Layout::routed, Layout::bridged}) {
        SCOPED_TRACE(nameOf(layout));
        build(layout);
        EXPECT_EQ(reach(1, 80), 0);
        EXPECT_TRUE(portalHasVisitor());
        EXPECT_EQ(daemon_->news(), "va1 02:00:00:00:01:01 " + station(1).ip);
        EXPECT_EQ(daemon_->tell(Request::captive, station(1)), 0);
        EXPECT_EQ(reach(1, 80, kInternet6), 0);
        EXPECT_TRUE(portalHasVisitor());
        EXPECT_EQ(reach(1, 443), ECONNREFUSED);
        EXPECT_EQ(reach(1, 443, kInternet6), ECONNREFUSED);
        EXPECT_FALSE(sends(1));
        EXPECT_FALSE(sends(1, kInternet6));
        // Neither services of the access point that are not for it, nor another station.
        const ostrel::Fd ssh = serverSocket(net_->ap, SOCK_STREAM, "::", 22);
        EXPECT_EQ(reach(1, 22, "10.77.1.1"), ECONNREFUSED);
        const ostrel::Fd other = serverSocket(station(2).space, SOCK_STREAM, "::", 8888);
        EXPECT_NE(reach(1, 8888, station(2).ip, kSilence), 0);
        EXPECT_NE(reach(1, 8888, station(2).ip6, kSilence), 0);
    }
}

TEST_F(AccessTest, an_admitted_station_reaches_the_internet_by_its_own_device_alone) {
    for (const Layout layout : {Layout::routed, Layout::bridged}) {
        SCOPED_TRACE(nameOf(layout));
        build(layout);
        ASSERT_EQ(daemon_->tell(Request::pass, station(1)), 0);
        for (const char* const address : {kInternet, kInternet6}) {
            EXPECT_EQ(reach(1, 80, address), 0);
            EXPECT_EQ(reach(1, 443, address), 0);
            EXPECT_TRUE(sends(1, address));
        }
        EXPECT_FALSE(portalHasVisitor());
        EXPECT_EQ(daemon_->news(Milliseconds(0)), std::nullopt);
        // Somebody with its MAC behind another device is somebody else.
        station(2).space.run("ip link set eth0 address " + station(1).mac);
        EXPECT_EQ(reach(2, 443), ECONNREFUSED);
        EXPECT_EQ(daemon_->news(), "va2 02:00:00:00:01:01 " + station(2).ip);
    }
}

TEST_F(AccessTest, an_admitted_station_with_another_address_is_announced_with_its_first_arp) {
    ASSERT_EQ(daemon_->tell(Request::pass, station(1)), 0);
    station(1).space.run("ip addr flush dev eth0; ip addr add 10.77.1.99/24 dev eth0");
    askFrom(station(1).space, "10.77.1.7", 4433,
            Milliseconds(1));  // nobody answers the ARP request
    EXPECT_EQ(daemon_->news(), "va1 02:00:00:00:01:01 10.77.1.99");
}

TEST_F(AccessTest, a_station_without_ipv4_is_announced_all_the_same) {
    station(1).space.run("ip -4 addr flush dev eth0");
    EXPECT_EQ(reach(1, 443, kInternet6), ECONNREFUSED);
    EXPECT_EQ(daemon_->news(), "va1 02:00:00:00:01:01 0.0.0.0");
}

TEST_F(AccessTest, a_running_download_ends_with_the_authorisation) {
    for (const Request end : {Request::captive, Request::drop, Request::forget}) {
        SCOPED_TRACE(static_cast<int>(end));
        ASSERT_EQ(daemon_->tell(Request::pass, station(1)), 0);
        Download download(station(1), https_);
        EXPECT_GT(download.flow(Milliseconds(100)), 100000U);
        EXPECT_NE(net_->ap.output("grep 'src=" + station(1).ip + " ' /proc/net/nf_conntrack"), "");
        ASSERT_EQ(daemon_->tell(end, station(1)), 0);
        download.flow(Milliseconds(0));  // what was on its way
        EXPECT_EQ(download.flow(Milliseconds(200)), 0U);
        net_->ap.run("for i in $(seq 50); do grep -q 'ESTABLISHED src=" + station(1).ip +
                     " ' /proc/net/nf_conntrack || exit 0; sleep 0.1; done; exit 1");
    }
}

TEST_F(AccessTest, a_dropped_station_is_mute_and_deaf_to_arp_too) {
    ASSERT_EQ(daemon_->tell(Request::drop, station(1)), 0);
    station(1).space.run("ip neigh flush all");
    EXPECT_NE(reach(1, 80, kInternet, kSilence), 0);
    EXPECT_EQ(station(1).space.output("ip neigh show 10.77.1.1 nud reachable"), "");
    net_->ap.run("ip neigh flush all; ping -c1 -W1 " + station(1).ip + " >/dev/null || true");
    EXPECT_EQ(net_->ap.output("ip neigh show " + station(1).ip + " nud reachable"), "");
    ASSERT_EQ(daemon_->tell(Request::pass, station(1)), 0);
    station(1).space.run("ip neigh flush all");
    net_->ap.run("ip neigh flush all");
    EXPECT_EQ(reach(1, 443), 0);
}

TEST_F(AccessTest, requests_are_answered_as_the_page_says) {
    const std::string address = bytesOf(*ostrel::parseIpv4("10.77.1.1"));
    EXPECT_EQ(daemon_->ask(Request::proxy).record, address);
    const std::string asked = bytesOf(*ostrel::parseIpv4("198.51.100.7")) + std::string(48, '\0');
    EXPECT_EQ(daemon_->ask(Request::gateway, asked).result, -ENETUNREACH);
    net_->ap.run("ip route add default via 192.0.2.1");
    EXPECT_EQ(daemon_->ask(Request::gateway, asked).record,
              asked.substr(0, 48) + bytesOf(*ostrel::parseIpv4(kInternet)));
    EXPECT_EQ(daemon_->ask(Request::gateway, "short").result, -EINVAL);
    EXPECT_EQ(daemon_->ask(static_cast<Request>(7)).result, -EINVAL);
    EXPECT_EQ(daemon_->tell(Request::pass, "eth7", station(1).mac), -ENODEV);
    EXPECT_EQ(daemon_->tell(Request::forget, "eth7", station(1).mac), 0);
}

}  // namespace
}  // namespace vesta::testing
