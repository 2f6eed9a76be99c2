// The tool that throws a station off, as vestad starts it.

#include <gmock/gmock.h>

#include "companions/fake_hostapd.h"
#include "companions/redirectord/network.h"
#include "support/child_process.h"

namespace {

using ::testing::HasSubstr;
using vesta::testing::ChildProcess;
using vesta::testing::NetNamespace;

class DeauthClientTest : public ::testing::Test {
protected:
    void start(const std::string& device, const std::string& mac) {
        tool.start({DEAUTH_CLIENT_PROGRAM, "-i", device, "-a", mac, "--hostapd", directory.path(),
                    "--verbose"},
                   ChildProcess::Output::heard);
    }

    const ostrel::testing::TempDirectory directory;
    ChildProcess tool;
};

TEST_F(DeauthClientTest, TakesNothingButADeviceAndAStation) {
    const std::pair<const char*, const char*> rows[] = {
        {"lo", "02:00:00:00:00:0"},
        {"lo", "02-00-00-00-00-01"},
        {"lo", "ff:ff:ff:ff:ff:ff"},
        {"lo", "02:00:00:00:00:01;reboot"},
        {"../lo", "02:00:00:00:00:01"},
        {"lo lo", "02:00:00:00:00:01"},
        {"wlan0-va1-too-long", "02:00:00:00:00:01"}};
    for (const auto& [device, mac] : rows) {
        start(device, mac);
        EXPECT_EQ(tool.waitForEnd(), 2) << device << " " << mac;
    }
    start("nosuchdevice", "02:00:00:00:00:01");
    EXPECT_EQ(tool.waitForEnd(), 1);
    EXPECT_THAT(tool.said(), HasSubstr("nosuchdevice: No such device"));
}

TEST_F(DeauthClientTest, AsksHostapdAndCutsTheFlowsWhereItDoesNot) {
    companion::testing::FakeHostapd hostapd(directory.path("lo"));
    struct Row {
        std::vector<std::string> answers;
        const char* problem;  // "" when hostapd does it
    };
    const Row rows[] = {{{"<3>AP-STA-DISCONNECTED 02:00:00:00:00:01", "OK\n"}, ""},
                        {{"FAIL\n"}, "it refuses"},
                        {{}, "timed out"}};
    for (const auto& [answers, problem] : rows) {
        start("lo", "02:00:00:00:0A:01");
        EXPECT_EQ(hostapd.take(), "DEAUTHENTICATE 02:00:00:00:0a:01");
        for (const std::string& answer : answers) {
            EXPECT_TRUE(hostapd.say(answer));
        }
        EXPECT_EQ(tool.waitForEnd(), 0);
        EXPECT_THAT(tool.said(), HasSubstr(problem));
        EXPECT_EQ(tool.said().find("0 connections of the station cut") != std::string::npos,
                  *problem != '\0');
    }
}

TEST_F(DeauthClientTest, CutsTheFlowsOfTheStationAlone) {
    if (!vesta::testing::enterOwnNamespaces()) {
        GTEST_SKIP() << "neither root nor user namespaces here";
    }
    const NetNamespace ap;
    ap.run(
        "nft 'add table inet t; add chain inet t in { type filter hook input priority 0; };"
        " add rule inet t in ct state new counter'");
    // With an address of its own: one that it takes from its ports may change with the next port,
    // and then the kernel forgets all neighbours.
    ap.run(
        "ip link add br0 address 02:00:00:00:00:ff type bridge && ip link set br0 up"
        " && ip addr add 10.1.0.1/24 dev br0");
    std::vector<NetNamespace> stations(2);
    for (std::size_t i = 0; i < stations.size(); ++i) {
        const std::string number = std::to_string(i + 1);
        ap.run("ip link add va" + number + " type veth peer name eth0 netns /proc/" +
               std::to_string(getpid()) + "/fd/" + std::to_string(stations[i].fd()) +
               " && ip link set va" + number + " master br0 up");
        // One that speaks only when it is asked to: each frame teaches the bridge anew.
        stations[i].run("sysctl -qw net.ipv6.conf.eth0.disable_ipv6=1");
        stations[i].run("ip link set eth0 address 02:00:00:00:00:0" + number +
                        " up && ip addr add 10.1.0.10" + number +
                        "/24 dev eth0 && ping -qc1 -W5 10.1.0.1 >/dev/null");
    }
    const auto traces = [&ap](const std::string& number) {
        return ap.output("{ ip neigh; cat /proc/net/nf_conntrack; } | grep -c 10.1.0.10" + number +
                         "; bridge fdb show dynamic | grep -c 02:00:00:00:00:0" + number);
    };
    ASSERT_EQ(traces("1"), "2\n1\n");
    ASSERT_EQ(traces("2"), "2\n1\n");
    ap.inside([this] { start("va2", "02:00:00:00:00:01"); });
    EXPECT_EQ(tool.waitForEnd(), 0);
    EXPECT_EQ(traces("1"), "2\n1\n") << "that MAC on another device is another station";
    ap.inside([this] { start("va1", "02:00:00:00:00:01"); });
    EXPECT_EQ(tool.waitForEnd(), 0);
    EXPECT_THAT(tool.said(), HasSubstr("1 addresses and 1 connections"));
    EXPECT_EQ(traces("1"), "0\n0\n");
    EXPECT_EQ(traces("2"), "2\n1\n");
}

}  // namespace
