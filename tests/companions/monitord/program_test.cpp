// monitord as a process beside the kernel's own tables, in a network namespace.

#include <gtest/gtest.h>
#include <json-c/json.h>

#include <nlohmann/json.hpp>
#include <optional>

#include "companions/redirectord/network.h"
#include "ostrel/ipc.h"
#include "support/child_process.h"
#include "support/collected.h"
#include "support/runtime_directory.h"

namespace monitord {
namespace {

using nlohmann::json;
using vesta::testing::ChildProcess;
using vesta::testing::NetNamespace;

// An access point with one station behind the port va1 of the bridge br0.
struct Network {
    Network() {
        // A station says nothing of its own accord, as one that sleeps.
        station.run("sysctl -qw net.ipv6.conf.default.disable_ipv6=1");
        ap.run(
            "ip link add br0 type bridge && ip link set br0 up && ip addr add 10.1.0.1/24 dev br0");
        ap.run("ip link add va1 type veth peer name eth0 netns /proc/" + std::to_string(getpid()) +
               "/fd/" + std::to_string(station.fd()) + " && ip link set va1 master br0 up");
        station.run(
            "ip link set eth0 address 02:00:00:00:00:01 up && ip addr add 10.1.0.2/24 dev eth0");
    }
    void ping() const { station.run("ping -qc1 -W5 10.1.0.1 >/dev/null"); }
    void count() const {
        ap.run(R"(nft -f - <<'END'
table netdev vesta {
    set up { typeof iifname . ether saddr; size 16; flags dynamic; counter; }
    set down { typeof iifname . ether saddr; size 16; flags dynamic; counter; }
    chain in { type filter hook ingress device va1 priority 0; update @up { iifname . ether saddr }; }
    chain out { type filter hook egress device va1 priority 0; update @down { oifname . ether daddr }; }
}
END
)");
    }

    NetNamespace ap;
    NetNamespace station;
};

class MonitordTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!vesta::testing::enterOwnNamespaces()) {
            GTEST_SKIP() << "neither root nor user namespaces here";
        }
        network.emplace();
        bus.emplace(ipc_tool_module(), true, 1);
    }
    void start() {
        network->ap.inside([this] {
            monitord.start(
                {MONITORD_PROGRAM, "--gone-after", "4", "--hostapd", runtime.path("none")},
                ChildProcess::Output::heard);
        });
    }
    // Of the station, or null when it is not there.
    json ask() {
        vesta::testing::Collected<json> answers;
        json_object* const request =
            json_tokener_parse(R"({"command": "get", "path": "associated-clients"})");
        for (int tries = 0; tries < 100; ++tries) {
            if (bus->async_send(
                    request, IPC_MODULE_MONITORD_STATISTICS, nullptr,
                    [&](void* answer, void*, int) {
                        answers.add(answer == nullptr ? json()
                                                      : json::parse(json_object_to_json_string(
                                                            static_cast<json_object*>(answer))));
                    },
                    5)) {
                break;
            }
            usleep(50000);  // it has only just been started
        }
        json_object_put(request);
        const std::vector<json> got = answers.waitFor(1);
        EXPECT_EQ(got.size(), 1U);
        for (const json& station : got.empty() ? json() : got[0]["value"]) {
            if (station["hw-addr"] == "02:00:00:00:00:01" && station["interface"] == "va1") {
                return station;
            }
        }
        return nullptr;
    }
    // Whether the station is there for so long, or comes in so long; asked twenty times a second.
    bool staysFor(std::chrono::seconds time) { return !changes(true, time); }
    bool comesWithin(std::chrono::seconds time) { return changes(false, time); }
    bool changes(bool isThere, std::chrono::seconds time) {
        const auto end = std::chrono::steady_clock::now() + time;
        while (std::chrono::steady_clock::now() < end) {
            if (ask().is_object() != isThere) {
                return true;
            }
            usleep(50000);
        }
        return false;
    }

    vesta::testing::RuntimeDirectory runtime;
    std::optional<Network> network;
    std::optional<IpcInterface> bus;
    ChildProcess monitord;
};

TEST_F(MonitordTest, TellsWhoIsThereThroughSilenceAndRestartUntilTheyLeave) {
    start();
    ASSERT_TRUE(monitord.waitForText("no counters in the sets of table netdev vesta"));
    network->ping();
    EXPECT_TRUE(comesWithin(std::chrono::seconds(5))) << "the bridge tells, without counters";

    network->count();
    network->ping();
    const json first = ask();
    ASSERT_TRUE(first.is_object()) << "a new counter is a station, at once";
    constexpr int kPingBytes = 84;
    EXPECT_GE(first["statistics"]["rx"]["bytes"], kPingBytes);
    EXPECT_EQ(first["statistics"]["rx"], first["statistics"]["tx"]);
    EXPECT_TRUE(staysFor(std::chrono::seconds(7))) << "a sleeper answers when it is asked";

    EXPECT_EQ(monitord.end(SIGTERM), 0);
    start();
    EXPECT_GE(ask()["uptime"], 6);
    network->station.run("ip link set eth0 down");
    EXPECT_FALSE(staysFor(std::chrono::seconds(20)));
    network->station.run("ip link set eth0 up");
    network->ping();
    const json again = ask();
    ASSERT_TRUE(again.is_object());
    EXPECT_LE(again["uptime"], 2);
}

TEST_F(MonitordTest, DoesNotBeginWhereItCanReadNoCounters) {
    network->ap.inside([this] {
        monitord.start({"setpriv", "--bounding-set=-net_admin", MONITORD_PROGRAM},
                       ChildProcess::Output::heard);
    });
    EXPECT_EQ(monitord.waitForEnd(), 1);
    EXPECT_NE(monitord.said().find("counters can't be read"), std::string::npos) << monitord.said();
}

TEST(Monitord, RefusesWrongWordsAndASecondOne) {
    const vesta::testing::RuntimeDirectory runtime;
    ChildProcess first;
    first.start({MONITORD_PROGRAM, "--gone-after", "0"}, ChildProcess::Output::heard);
    EXPECT_EQ(first.waitForEnd(), 2);
    const IpcInterface other(IPC_MODULE_MONITORD_TRAPS, false, 1);
    first.start({MONITORD_PROGRAM}, ChildProcess::Output::heard);
    EXPECT_EQ(first.waitForEnd(), 1);
    EXPECT_NE(first.said().find("another process listens"), std::string::npos) << first.said();
}

}  // namespace
}  // namespace monitord
