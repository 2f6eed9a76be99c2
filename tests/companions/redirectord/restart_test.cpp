// What happens to stations when redirectord, the daemon, a device or the tables go and come back.

#include "service_fixture.h"

namespace vesta::testing {
namespace {

class RestartTest : public ServiceTest {
protected:
    // Runs redirectord to its end in the access point's namespace; its exit status.
    int runToEnd(const std::vector<std::string>& words) {
        ChildProcess process;
        std::vector<std::string> all{REDIRECTORD_PROGRAM};
        all.insert(all.end(), words.begin(), words.end());
        net_->ap.inside([&] { process.start(all, ChildProcess::Output::heard); });
        const int status = process.waitForEnd().value_or(-1);
        said_ = process.said();
        return status;
    }

    std::string said_;
};

TEST_F(RestartTest, a_killed_one_comes_back_and_nobody_notices) {
    ASSERT_EQ(daemon_->tell(Request::pass, station(1)), 0);
    Download download(station(1), https_);
    redirector_->process().end(SIGKILL);
    EXPECT_GT(download.flow(Milliseconds(100)), 0U);
    EXPECT_EQ(reach(2, 443), ECONNREFUSED);
    redirector_->start();
    EXPECT_GT(download.flow(Milliseconds(100)), 0U);
    EXPECT_EQ(reach(2, 443), ECONNREFUSED);

    // A daemon that forgot its stations hears of them, and meanwhile they keep what they have.
    daemon_ = std::make_unique<DaemonSide>();
    ASSERT_EQ(daemon_->ask(Request::forgetStations).result, 0);
    EXPECT_GT(download.flow(Milliseconds(100)), 0U);
    EXPECT_EQ(daemon_->news(Milliseconds(4000)), "va1 02:00:00:00:01:01 " + station(1).ip);
    EXPECT_GT(download.flow(Milliseconds(100)), 0U);
}

TEST_F(RestartTest, sigterm_leaves_the_rules_and_flush_removes_them) {
    ASSERT_EQ(daemon_->tell(Request::pass, station(1)), 0);
    net_->ap.run("nft add table inet other");
    EXPECT_EQ(redirector_->process().end(SIGTERM), 0);
    EXPECT_EQ(reach(1, 443), 0);
    EXPECT_EQ(reach(2, 443), ECONNREFUSED);
    EXPECT_EQ(runToEnd({"--flush"}), 0);
    EXPECT_EQ(reach(2, 443), 0);
    EXPECT_EQ(net_->ap.output("nft list tables"), "table inet other\n");
    redirector_->start({"--open-on-exit"});
    EXPECT_EQ(reach(2, 443), ECONNREFUSED);
    EXPECT_EQ(redirector_->process().end(SIGTERM), 0);
    EXPECT_EQ(reach(2, 443), 0);
}

TEST_F(RestartTest, a_second_one_is_refused_and_changes_nothing) {
    EXPECT_EQ(runToEnd({"--interface", "up0"}), 1);
    EXPECT_EQ(said_, "redirectord: another redirectord serves this network namespace\n");
    EXPECT_EQ(runToEnd({"--flush"}), 1);
    EXPECT_EQ(reach(1, 443), ECONNREFUSED);
    EXPECT_EQ(net_->ap.output("nft list chains netdev | grep -c up0"), "0\n");
    ChildProcess elsewhere;
    net_->internet.inside([&] {
        elsewhere.start({REDIRECTORD_PROGRAM, "--interface", "eth0"}, ChildProcess::Output::heard);
    });
    EXPECT_EQ(elsewhere.waitForEnd(), 1);
    EXPECT_EQ(elsewhere.said(),
              "redirectord: another redirectord serves " + runtime_.path() + "/modules\n");
    EXPECT_EQ(net_->internet.output("nft list tables"), "");
}

TEST_F(RestartTest, a_device_that_comes_back_is_watched_again) {
    ASSERT_EQ(daemon_->tell(Request::pass, station(1)), 0);
    net_->ap.run("ip link del va1");
    net_->addStation(1);
    ASSERT_TRUE(redirector_->process().waitForText("va1 is watched"));
    EXPECT_EQ(reach(1, 443), 0);
    station(1).space.run("ip link set eth0 address 02:00:00:00:01:07");
    EXPECT_EQ(reach(1, 443), ECONNREFUSED);
    EXPECT_EQ(daemon_->news(), "va1 02:00:00:00:01:07 " + station(1).ip);
}

TEST_F(RestartTest, removed_tables_are_put_up_again) {
    constexpr const char* kPutUp =
        "they are put up again\nredirectord: va1 is watched\nredirectord: va2 is watched\n"
        "redirectord: 0 stations taken over\nredirectord: ready\n";
    net_->ap.run("nft flush ruleset");
    daemon_.reset();
    ASSERT_TRUE(redirector_->process().waitForText(kPutUp));
    EXPECT_EQ(reach(1, 443), ECONNREFUSED);
    daemon_ = std::make_unique<DaemonSide>();
    EXPECT_EQ(daemon_->tell(Request::pass, station(1)), 0);
    EXPECT_EQ(reach(1, 443), 0);
}

TEST_F(RestartTest, sockets_that_somebody_removed_are_made_again) {
    std::filesystem::remove_all(runtime_.path("modules"));
    ASSERT_TRUE(redirector_->process().waitForText("is made again"));
    daemon_ = std::make_unique<DaemonSide>();
    EXPECT_EQ(daemon_->tell(Request::pass, station(1)), 0);
}

}  // namespace
}  // namespace vesta::testing
