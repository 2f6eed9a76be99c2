// What a station may do in each of its states, with real packets.

#include <net/if.h>

#include "daemon_side.h"

namespace vesta::testing {
namespace {

using std::chrono::milliseconds;

// An access point with redirectord, a portal on 8888, and an internet with TCP 80 and 443 and UDP
// 4433 on both families.
class AccessTest : public NetworkTest {
protected:
    void SetUp() override {
        NetworkTest::SetUp();
        if (!IsSkipped()) {
            build(Layout::routed);
        }
    }
    void build(Layout layout) {
        daemon_.reset();
        redirector_.reset();
        sockets_.clear();
        net_ = std::make_unique<AccessPointNetwork>(layout);
        for (const std::uint16_t port : {std::uint16_t{80}, std::uint16_t{443}}) {
            sockets_.push_back(serverSocket(net_->internet, SOCK_STREAM, "::", port));
        }
        portal_ = serverSocket(net_->ap, SOCK_STREAM, "::", 8888);
        udp_ = serverSocket(net_->internet, SOCK_DGRAM, "::", 4433);
        redirector_ = std::make_unique<RedirectorProcess>(*net_);
        daemon_ = std::make_unique<DaemonSide>();
    }
    const SimulatedStation& station(int number) { return net_->station(number); }
    int reach(int number, std::uint16_t port, const char* address = kInternet) {
        return connectFrom(station(number).space, address, port, milliseconds(700)).error;
    }
    // Whether a datagram of the station arrives in the internet.
    bool sends(int number, const char* address = kInternet) {
        askFrom(station(number).space, address, 4433, milliseconds(1));
        char buffer[16];
        return readableWithin(udp_.get(), milliseconds(200)) &&
               recv(udp_.get(), buffer, sizeof buffer, 0) >= 0;
    }
    bool portalHasVisitor() {
        const bool has = readableWithin(portal_.get(), milliseconds(0));
        if (has) {
            close(accept4(portal_.get(), nullptr, nullptr, SOCK_CLOEXEC));
        }
        return has;
    }

    RuntimeDirectory runtime_;
    std::unique_ptr<AccessPointNetwork> net_;
    std::vector<ostrel::Fd> sockets_;
    ostrel::Fd portal_;
    ostrel::Fd udp_;
    std::unique_ptr<RedirectorProcess> redirector_;
    std::unique_ptr<DaemonSide> daemon_;
};

TEST_F(AccessTest, a_new_station_is_announced_and_finds_the_portal_alone) {
    for (const Layout layout : {Layout::routed, Layout::bridged}) {
        SCOPED_TRACE(layout == Layout::routed ? "routed" : "bridged");
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
        EXPECT_NE(reach(1, 8888, station(2).ip.c_str()), 0);
        EXPECT_NE(reach(1, 8888, station(2).ip6.c_str()), 0);
    }
}

TEST_F(AccessTest, an_admitted_station_reaches_the_internet_and_its_address_is_kept_up) {
    for (const Layout layout : {Layout::routed, Layout::bridged}) {
        SCOPED_TRACE(layout == Layout::routed ? "routed" : "bridged");
        build(layout);
        ASSERT_EQ(daemon_->tell(Request::pass, station(1)), 0);
        for (const char* const address : {kInternet, kInternet6}) {
            EXPECT_EQ(reach(1, 80, address), 0);
            EXPECT_EQ(reach(1, 443, address), 0);
            EXPECT_TRUE(sends(1, address));
        }
        EXPECT_FALSE(portalHasVisitor());
        EXPECT_EQ(daemon_->news(milliseconds(0)), std::nullopt);
        // Somebody with its MAC behind another device is somebody else.
        station(2).space.run("ip link set eth0 address " + station(1).mac);
        EXPECT_EQ(reach(2, 443), ECONNREFUSED);
        EXPECT_EQ(daemon_->news(), "va2 02:00:00:00:01:01 " + station(2).ip);
    }
}

TEST_F(AccessTest, another_address_is_announced_at_its_first_arp) {
    ASSERT_EQ(daemon_->tell(Request::pass, station(1)), 0);
    station(1).space.run("ip addr flush dev eth0; ip addr add 10.77.1.99/24 dev eth0");
    station(1).space.inside(
        [] { return askFrom(NetNamespace(), "127.0.0.1", 1, milliseconds(1)); });
    askFrom(station(1).space, "10.77.1.1", 4433, milliseconds(1));
    EXPECT_EQ(daemon_->news(), "va1 02:00:00:00:01:01 10.77.1.99");
}

TEST_F(AccessTest, a_running_download_ends_with_the_authorisation) {
    ASSERT_EQ(daemon_->tell(Request::pass, station(1)), 0);
    Connection download = connectFrom(station(1).space, kInternet, 443);
    ASSERT_EQ(download.error, 0);
    const ostrel::Fd far(
        accept4(sockets_[1].get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    ASSERT_TRUE(far.valid());
    const std::string block(1 << 16, 'x');
    const auto received = [&] {
        static char buffer[1 << 16];
        std::size_t count = 0;
        for (ssize_t size; (size = recv(download.fd.get(), buffer, sizeof buffer, 0)) > 0;) {
            count += static_cast<std::size_t>(size);
        }
        return count;
    };
    const auto flow = [&](milliseconds time) {
        std::size_t count = 0;
        const auto end = std::chrono::steady_clock::now() + time;
        while (std::chrono::steady_clock::now() < end) {
            (void)!send(far.get(), block.data(), block.size(), MSG_NOSIGNAL);
            readableWithin(download.fd.get(), milliseconds(5));
            count += received();
        }
        return count;
    };
    EXPECT_GT(flow(milliseconds(100)), block.size());
    ASSERT_EQ(daemon_->tell(Request::captive, station(1)), 0);
    received();  // what was on its way
    EXPECT_EQ(flow(milliseconds(300)), 0U);
}

TEST_F(AccessTest, a_dropped_station_is_mute_and_deaf_to_arp_too) {
    ASSERT_EQ(daemon_->tell(Request::drop, station(1)), 0);
    station(1).space.run("ip neigh flush all");
    EXPECT_NE(reach(1, 80), 0);
    EXPECT_NE(reach(1, 8888, "10.77.1.1"), 0);
    EXPECT_EQ(station(1).space.output("ip neigh show 10.77.1.1 nud reachable"), "");
    net_->ap.run("ip neigh flush all; ping -c1 -W1 " + station(1).ip + " >/dev/null || true");
    EXPECT_EQ(net_->ap.output("ip neigh show " + station(1).ip + " nud reachable"), "");
}

}  // namespace
}  // namespace vesta::testing
