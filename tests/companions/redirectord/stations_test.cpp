// What is kept of stations, told by requests and by packets, as time passes.

#include "redirectord/stations.h"

#include "access_point.h"
#include "redirectord/nft.h"

namespace vesta::testing {
namespace {

using namespace redirectord;
using std::chrono::milliseconds;
using std::chrono::seconds;

class StationsTest : public NetworkTest {
protected:
    void SetUp() override {
        NetworkTest::SetUp();
        if (!IsSkipped()) {
            space_.emplace();
            space_->inside([this] {
                Nft nft;
                ASSERT_TRUE(nft.run(baseRuleset())) << nft.error();
                stations_ = make();
            });
        }
    }
    std::unique_ptr<Stations> make() {
        return std::make_unique<Stations>(Stations::Callbacks{
            [this](const StationKey& key) {
                announced_.push_back(ostrel::macText(key.mac));
                stations_->announced(key, now_);
            },
            [this](const StationKey& key, in_addr) { cut_.push_back(ostrel::macText(key.mac)); },
            [](const StationKey&, in_addr) {}, [](const StationKey&) {}});
    }
    static StationKey key(std::uint32_t number) {
        ostrel::MacBytes mac{2, 0};
        for (std::size_t i = 0; i < 4; ++i) {
            mac[5 - i] = static_cast<std::uint8_t>(number >> (8 * i));
        }
        return StationKey("va1", mac);
    }
    static News news(std::uint32_t number, const char* ip = "10.0.0.1") {
        return {key(number), *ostrel::parseIpv4(ip)};
    }
    int tell(std::uint32_t number, Access access) {
        return stations_->tell(key(number), access, *ostrel::parseIpv4("10.0.0.1"), now_);
    }
    // Time passes, in the steps in which the service looks.
    void pass(milliseconds time) {
        for (const auto end = now_ + time; now_ < end;) {
            now_ += milliseconds(100);
            stations_->tick(now_);
        }
    }
    std::string elements(const char* set) {
        return space_->output("nft list set netdev vesta " + std::string(set) +
                              " | grep -o '02:00:00:00:00:..' | tr '\\n' ' '");
    }

    std::optional<NetNamespace> space_;
    Stations::Clock::time_point now_ = Stations::Clock::time_point() + seconds(1000);
    std::vector<std::string> announced_;
    std::vector<std::string> cut_;
    std::unique_ptr<Stations> stations_;
};

TEST_F(StationsTest, who_is_not_told_of_again_is_announced_after_two_seconds_and_gone_after_ten) {
    ASSERT_EQ(tell(1, Access::pass), 0);
    ASSERT_EQ(tell(2, Access::pass), 0);
    ASSERT_EQ(tell(3, Access::pass), 0);
    stations_->forgetAll(now_);
    pass(milliseconds(1500));
    ASSERT_EQ(tell(1, Access::pass), 0);
    EXPECT_TRUE(announced_.empty());
    pass(seconds(1));
    EXPECT_EQ(announced_.size(), 2U);
    ASSERT_EQ(tell(2, Access::captive), 0);
    EXPECT_EQ(cut_, std::vector<std::string>{"02:00:00:00:00:02"});
    pass(seconds(7));
    EXPECT_EQ(stations_->size(), 3U);
    pass(seconds(2));
    EXPECT_EQ(stations_->size(), 2U);
    EXPECT_EQ(cut_.back(), "02:00:00:00:00:03");
    EXPECT_EQ(elements("up").size(), 2 * 18U);
    EXPECT_EQ(space_->output("nft list map netdev vesta stations | grep -c 02:00"), "1\n");
}

TEST_F(StationsTest, nobody_is_forgotten_while_no_daemon_is_there) {
    ASSERT_EQ(tell(1, Access::pass), 0);
    stations_->forgetAll(now_);
    pass(seconds(5));
    stations_->daemonGone();
    pass(seconds(60));
    EXPECT_EQ(stations_->size(), 1U);
}

TEST_F(StationsTest, an_announced_station_of_which_nothing_is_said_is_forgotten) {
    stations_->notice({news(1), news(2), news(1)}, now_);
    EXPECT_EQ(announced_, (std::vector<std::string>{"02:00:00:00:00:01", "02:00:00:00:00:02"}));
    ASSERT_EQ(tell(2, Access::captive), 0);
    pass(seconds(12));
    EXPECT_EQ(elements("seen"), "02:00:00:00:00:02 ");
    EXPECT_EQ(elements("known"), "02:00:00:00:00:02 ");
    EXPECT_EQ(elements("down"), "02:00:00:00:00:02 ");
}

TEST_F(StationsTest, a_station_with_many_addresses_is_announced_once_a_second) {
    stations_->notice({news(1, "10.0.0.1")}, now_);
    stations_->notice({news(1, "10.0.0.2"), news(1, "10.0.0.3")}, now_);
    EXPECT_EQ(announced_.size(), 1U);
    pass(seconds(1));
    stations_->notice({news(1, "10.0.0.4"), news(1, "0.0.0.0")}, now_);
    EXPECT_EQ(announced_.size(), 2U);
    EXPECT_EQ(stations_->announced(key(1), now_)->s_addr, ostrel::parseIpv4("10.0.0.4")->s_addr);
}

TEST_F(StationsTest, a_successor_knows_what_its_predecessor_knew) {
    ASSERT_EQ(tell(1, Access::pass), 0);
    ASSERT_EQ(tell(2, Access::dropped), 0);
    ASSERT_EQ(tell(3, Access::captive), 0);
    space_->inside([this] { stations_ = make(); });
    stations_->adopt();
    EXPECT_EQ(stations_->size(), 3U);
    EXPECT_EQ(stations_->announced(key(2), now_)->s_addr, ostrel::parseIpv4("10.0.0.1")->s_addr);
    ASSERT_EQ(tell(1, Access::dropped), 0);
    EXPECT_EQ(cut_, std::vector<std::string>{"02:00:00:00:00:01"});
    for (std::uint32_t number = 1; number <= 3; ++number) {
        EXPECT_EQ(stations_->forget(key(number)), 0);
    }
    EXPECT_EQ(elements("seen") + elements("known"), "");
}

TEST_F(StationsTest, a_flood_of_new_macs_is_bounded) {
    std::vector<News> flood;
    for (std::uint32_t number = 0; number < kMostStations + 1000; ++number) {
        flood.push_back(news(number));
    }
    for (std::size_t at = 0; at < flood.size(); at += 256) {
        stations_->notice({flood.begin() + static_cast<long>(at),
                           flood.begin() + static_cast<long>(std::min(at + 256, flood.size()))},
                          now_);
    }
    EXPECT_EQ(stations_->size(), kMostStations);
    EXPECT_EQ(stations_->refused(), 1000U);
    EXPECT_EQ(tell(0x00ffffff, Access::pass), -ENFILE);
    EXPECT_EQ(tell(7, Access::pass), 0);
    pass(seconds(15));
    EXPECT_EQ(stations_->size(), 1U);
}

}  // namespace
}  // namespace vesta::testing
