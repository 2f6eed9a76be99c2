// What hostapd and the kernel's radios say.

#include <gmock/gmock.h>
#include <linux/genetlink.h>
#include <linux/nl80211.h>

#include <deque>

#include "companions/fake_hostapd.h"
#include "monitord/hostapd_watch.h"
#include "monitord/radio_stations.h"
#include "ostrel/clock.h"
#include "platform/support.h"

namespace monitord {
namespace {

const Mac kAnna{2, 0, 0, 0, 0, 1};
const Mac kBob{2, 0, 0, 0, 0, 2};

TEST(HostapdAnswer, IsReadAsFarAsItSaysWhoIsThere) {
    const auto anna = readHostapdStation(
        "02:00:00:00:00:01\nflags=[AUTH][ASSOC][AUTHORIZED]\naid=1\nconnected_time=12\n");
    ASSERT_TRUE(anna);
    EXPECT_EQ(anna->mac, kAnna);
    EXPECT_TRUE(anna->authorized);
    EXPECT_EQ(anna->connectedSeconds, 12);
    EXPECT_FALSE(
        readHostapdStation("02:00:00:00:00:01\nflags=[AUTH]\nconnected_time=x")->authorized);
    for (const char* const text : {"", "FAIL\n", "02:00:00:00:00\n", "UNKNOWN COMMAND\n"}) {
        EXPECT_FALSE(readHostapdStation(text)) << text;
    }
}

// What the watch has told of a device: the ends of the MACs, or "-" when hostapd tells nothing
// more.
std::string summary(const std::optional<RadioList>& list) {
    std::string text = list ? "" : "-";
    for (const Mac& mac : {kAnna, kBob}) {
        text += list && list->count(mac) != 0 ? ostrel::macText(mac).substr(15) + " " : "";
    }
    return text;
}

TEST(HostapdWatch, ListsWhoIsThereAndFollowsTheEvents) {
    const std::string anna = "02:00:00:00:00:01\nflags=[AUTH][ASSOC][AUTHORIZED]\n";
    const std::string carol = "02:00:00:00:00:03\nflags=[AUTH]\n";
    std::deque<std::pair<std::string, std::vector<std::string>>> script = {
        {"ATTACH", {"OK\n"}},
        {"STA-FIRST", {anna}},
        {"STA-NEXT 02:00:00:00:00:01", {"FAIL\n"}},  // she has just left, and comes back
        {"STA-FIRST", {anna}},
        {"STA-NEXT 02:00:00:00:00:01", {carol}},
        {"STA-NEXT 02:00:00:00:00:03",
         {"", "<3>AP-STA-CONNECTED 02:00:00:00:00:02", "<3>AP-STA-POLL-OK 02:00:00:00:00:03",
          "<3>AP-STA-DISCONNECTED 02:00:00:00:00:01"}}};
    const ostrel::testing::TempDirectory directory;
    std::optional<companion::testing::FakeHostapd> hostapd(directory.path("wlan0"));
    companion::EventLoop loop;
    std::vector<std::string> heard;
    HostapdWatch watch(loop, directory.path(), [&](const std::string& device, const auto& list) {
        EXPECT_EQ(device, "wlan0");
        heard.push_back(summary(list));
        if (heard.size() == 3) {
            loop.stop();
        }
    });
    loop.whenReadable(hostapd->fd(), [&] {
        ASSERT_FALSE(script.empty());
        EXPECT_EQ(hostapd->take(), script.front().first);
        for (const std::string& text : script.front().second) {
            EXPECT_TRUE(hostapd->say(text));
        }
        script.pop_front();
    });
    loop.after(std::chrono::seconds(10), [&] { loop.stop(); });
    const Time now = ostrel::monotonicMilliseconds();
    watch.tick(now);
    EXPECT_FALSE(watch.tells("wlan0")) << "it has not been heard to the end";
    loop.run();
    EXPECT_TRUE(watch.tells("wlan0"));

    loop.forget(hostapd->fd());
    hostapd.reset();
    watch.tick(now + 3600000);
    EXPECT_EQ(heard, (std::vector<std::string>{"01 ", "01 02 ", "02 ", "-"}));
    EXPECT_FALSE(watch.tells("wlan0"));
}

TEST(RadioStation, IsReadFromTheBytesOfTheKernel) {
    companion::NetlinkRequest message(0x1c, 0);
    message.header<genlmsghdr>().cmd = NL80211_CMD_NEW_STATION;
    const std::uint32_t generation = 7;
    message.put(NL80211_ATTR_MAC, kAnna.data(), kAnna.size());
    message.put(NL80211_ATTR_GENERATION, &generation, sizeof generation);
    nlattr* const info = message.beginNest(NL80211_ATTR_STA_INFO);
    message.putU32(NL80211_STA_INFO_INACTIVE_TIME, 99);
    message.putU32(NL80211_STA_INFO_CONNECTED_TIME, 12);
    message.endNest(info);
    RadioList list;
    readRadioStation(message.message(), 50000, list);
    EXPECT_EQ(list, (RadioList{{kAnna, 38000}}));

    companion::NetlinkRequest other(0x1c, 0);
    other.header<genlmsghdr>().cmd = NL80211_CMD_DEL_STATION;
    other.put(NL80211_ATTR_MAC, kBob.data(), kBob.size());
    readRadioStation(other.message(), 50000, list);
    companion::NetlinkRequest nameless(0x1c, 0);
    nameless.header<genlmsghdr>().cmd = NL80211_CMD_NEW_STATION;
    nameless.put(NL80211_ATTR_MAC, kBob.data(), 5);
    readRadioStation(nameless.message(), 50000, list);
    EXPECT_EQ(list.size(), 1U);
}

}  // namespace
}  // namespace monitord
