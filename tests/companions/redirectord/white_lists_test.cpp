// What the lists make of requests and answers, as it stands in the kernel; no packet runs.

#include "redirectord/white_lists.h"

#include <gmock/gmock.h>

#include "access_point.h"
#include "dns_bytes.h"
#include "redirectord/features.h"
#include "redirectord/ruleset.h"

namespace vesta::testing {
namespace {

using redirectord::StationKey;
using std::chrono::milliseconds;
using ::testing::HasSubstr;
using ::testing::Not;

class WhiteListsTest : public NetworkTest {
protected:
    void SetUp() override {
        NetworkTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        space_ = std::make_unique<NetNamespace>();
        space_->inside([this] { nft_ = std::make_unique<redirectord::Nft>(); });
        ASSERT_TRUE(nft_->run(redirectord::baseRuleset())) << nft_->error();
        start();
    }
    // As redirectord starts, also after an end that left everything in the kernel.
    void start() {
        lists_.reset();
        loop_ = std::make_unique<companion::EventLoop>();
        space_->inside([this] {
            lists_ = std::make_unique<redirectord::WhiteLists>(*loop_, *nft_, milliseconds(100));
        });
    }
    void runFor(milliseconds time) {
        loop_->after(time, [this] { loop_->stop(); });
        loop_->run();
    }
    static StationKey key(std::uint8_t number) {
        return StationKey("va1", {2, 0, 0, 0, 1, number});
    }
    int tell(std::uint8_t station, std::uint32_t list, const std::vector<std::string>& names) {
        EXPECT_EQ(lists_->addDomains(list, names), 0);
        return lists_->setStationList(key(station), list);
    }
    void answer(const std::string& name, unsigned int ttl, const std::string& address) {
        if (lists_->take(dns::answer(7, dns::question(name), {dns::a(name, ttl, address)}))) {
            lists_->settle();
        }
    }
    [[nodiscard]] std::string rules() const {
        return space_->output("nft list table netdev vesta");
    }

    std::unique_ptr<NetNamespace> space_;
    std::unique_ptr<redirectord::Nft> nft_;
    std::unique_ptr<companion::EventLoop> loop_;
    std::unique_ptr<redirectord::WhiteLists> lists_;
};

TEST_F(WhiteListsTest, a_kernel_that_takes_the_ruleset_lacks_no_feature) {
    EXPECT_THAT(redirectord::missingFeatures(*nft_), ::testing::IsEmpty()) << nft_->error();
}

TEST_F(WhiteListsTest, an_address_lives_as_long_as_its_ttl_within_bounds) {
    ASSERT_EQ(tell(1, 1, {"a.example"}), 0);
    answer("a.example", 20, "\xc6\x33\x64\x01");
    answer("a.example", 600, "\xc6\x33\x64\x02");
    answer("a.example", 86400, "\xc6\x33\x64\x03");
    answer("a.example", 20, "\xc6\x33\x64\x04");
    answer("a.example", 600, "\xc6\x33\x64\x04");
    answer("a.example", 600, "\x7f\x01\x01\x01");
    answer("b.example", 600, "\xc6\x33\x64\x05");
    const std::string sets = rules();
    for (const char* const element :
         {"198.51.100.1 timeout 2m expires", "198.51.100.2 timeout 11m expires",
          "198.51.100.3 timeout 1h1m expires", "198.51.100.4 timeout 11m expires"}) {
        EXPECT_THAT(sets, HasSubstr(element));
    }
    EXPECT_THAT(sets, Not(HasSubstr("127.1.1.1 "))) << "the access point itself";
    EXPECT_THAT(sets, Not(HasSubstr("198.51.100.5 "))) << "a name of no list";
}

TEST_F(WhiteListsTest, a_list_with_other_content_keeps_what_it_knows_of_its_names) {
    ASSERT_EQ(tell(1, 1, {"a.example"}), 0);
    answer("a.example", 600, "\xc6\x33\x64\x01");
    ASSERT_EQ(lists_->clearLists(), 0);
    ASSERT_EQ(tell(1, 5, {"b.example", "a.example"}), 0);
    runFor(milliseconds(150));
    EXPECT_THAT(rules(), ::testing::ContainsRegex("198.51.100.1 timeout (11m |10m59s)"));
}

TEST_F(WhiteListsTest, a_list_that_is_told_no_more_ends_after_the_grace) {
    ASSERT_EQ(tell(1, 1, {"a.example"}), 0);
    ASSERT_EQ(tell(2, 2, {"b.example"}), 0);
    start();
    ASSERT_EQ(lists_->clearLists(), 0);
    ASSERT_EQ(tell(1, 1, {"a.example"}), 0);
    EXPECT_THAT(rules(), HasSubstr("02:00:00:00:01:02 : jump list_"));
    runFor(milliseconds(150));
    const std::string left = rules();
    EXPECT_THAT(left, HasSubstr("02:00:00:00:01:01 : jump list_"));
    EXPECT_THAT(left, Not(HasSubstr("02:00:00:00:01:02")));
    EXPECT_EQ(left.find("chain list_"), left.rfind("chain list_")) << "one list is left";
}

TEST_F(WhiteListsTest, a_captive_station_keeps_its_list_only_if_it_is_told_again) {
    ASSERT_EQ(tell(1, 1, {"a.example"}), 0);
    ASSERT_EQ(tell(2, 1, {}), 0);
    lists_->awaitStationList(key(1));
    lists_->awaitStationList(key(2));
    ASSERT_EQ(tell(2, 1, {}), 0);
    runFor(milliseconds(1100));
    EXPECT_THAT(rules(), HasSubstr("02:00:00:00:01:02 : jump list_"));
    EXPECT_THAT(rules(), Not(HasSubstr("02:00:00:00:01:01")));
}

TEST_F(WhiteListsTest, elements_that_somebody_removed_cost_one_change) {
    ASSERT_EQ(tell(1, 1, {"a.example"}), 0);
    space_->run("nft flush map netdev vesta lists");
    EXPECT_EQ(tell(1, 2, {"b.example"}), -ENOENT);
    EXPECT_EQ(tell(1, 2, {}), 0);
    EXPECT_THAT(rules(), HasSubstr("02:00:00:00:01:01 : jump list_"));
}

}  // namespace
}  // namespace vesta::testing
