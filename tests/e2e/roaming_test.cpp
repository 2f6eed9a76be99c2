// Stations of two access points: what a user who walks, and an operator who restarts, may expect.

#include <thread>

#include "roaming_domain.h"

namespace vesta::testing {
namespace {

using apsim::Access;
using apsim::Party;

constexpr const Network& kTwo = kNetworks[0];
constexpr const Network& kFive = kNetworks[1];

void passSeconds(int seconds) {
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
}

TEST_F(RoamingTest, StationsWalkThereAndBack) {
    std::vector<Walker> walkers;
    for (const Network& network : kNetworks) {
        if (network.mode != std::string("radius") || hasRadius()) {
            walkers.emplace_back(*this, network).comeIn();
        }
    }
    constexpr int kHops = 8;
    for (int hop = 1; hop <= kHops && !HasFailure(); ++hop) {
        SCOPED_TRACE("hop " + std::to_string(hop));
        for (Walker& walker : walkers) {
            walker.walk();
        }
        for (Walker& walker : walkers) {
            EXPECT_TRUE(walker.waitFor(Access::authed));
            EXPECT_TRUE(walker.there().waitForAccess(Access::unknown, kPatience)) << "it left";
        }
        walkers[0].awaitPass();
        for (Walker& walker : walkers) {
            walker.expectSession();
        }
    }
    const auto count = [events = log_.since()](const char* what) {
        return std::count_if(events.begin(), events.end(), [what](const apsim::Event& event) {
            return event.party == Party::radius && event.what == what;
        });
    };
    const int stations = hasRadius() ? 2 : 0;
    EXPECT_EQ(count("accept"), stations) << "a walk needs no login";
    EXPECT_EQ(count("start"), (kHops + 1) * stations);
    EXPECT_EQ(count("stop"), kHops * stations) << "each stay is billed";
}

// The access point that a station left has its apbd stopped while it notices, and tells of it when
// the station is at home elsewhere.
TEST_F(RoamingTest, NewsOfItsLeavingThatComesLateThrowsNobodyOff) {
    Walker walker(*this, kFive);
    walker.comeIn();
    passSeconds(2);
    members_[0].apbd.signal(SIGSTOP);
    walker.here().leave();
    EXPECT_TRUE(log_.waitFor(Party::trap, "cp-disconnected", walker.here().id(), kPatience));
    walker.walk();
    ASSERT_TRUE(walker.waitFor(Access::authed));
    members_[0].apbd.signal(SIGCONT);
    walker.awaitPass();
    walker.expectSession();
    walker.walk();
    ASSERT_TRUE(walker.waitFor(Access::authed));
    walker.awaitPass();
    walker.expectSession();
}

TEST_F(RoamingTest, ASessionThatEndsOnOneHasEndedOnBoth) {
    Walker walker(*this, kShort);
    walker.comeIn();
    passSeconds(1);
    walker.walk();
    ASSERT_TRUE(walker.waitFor(Access::authed));
    ASSERT_TRUE(walker.waitFor(Access::unknown));
    EXPECT_NEAR(walker.sessionTime(), kShortSession, 2.5) << "looked at once a second";
    walker.walk();
    EXPECT_TRUE(walker.waitFor(Access::unauthed)) << "it has to log in again";
}

TEST_F(RoamingTest, WhatHappensWithoutTheBrokerIsMadeUpFor) {
    Walker settled(*this, kTwo);
    settled.comeIn();
    passSeconds(1);
    broker_.stop();
    Walker late(*this, kFive);
    late.comeIn();
    settled.walk();
    EXPECT_TRUE(settled.waitFor(Access::authed)) << "known from before";
    late.walk();
    EXPECT_TRUE(late.waitFor(Access::unauthed)) << "nobody could tell of it";
    broker_.start();
    // The daemon lets go of it so that its next packet brings it in with its record.
    EXPECT_TRUE(late.waitFor(Access::unknown));
    late.comeBackIn();
    late.awaitPass();
    late.expectSession();
    settled.expectSession();
}

TEST_F(RoamingTest, AnApbdThatIsKilledCostsNoSession) {
    Walker settled(*this, kTwo);
    Walker late(*this, kFive);
    settled.comeIn();
    passSeconds(1);
    settled.walk();
    ASSERT_TRUE(settled.waitFor(Access::authed));
    EXPECT_EQ(members_[1].apbd.end(SIGKILL), -SIGKILL);
    late.comeIn();
    late.walk();
    EXPECT_TRUE(late.waitFor(Access::unauthed)) << "nobody could tell of it";
    startApbd(members_[1]);
    EXPECT_TRUE(late.waitFor(Access::unknown));
    late.comeBackIn();
    late.awaitPass();
    late.expectSession();
    settled.expectSession();
    settled.walk();
    ASSERT_TRUE(settled.waitFor(Access::authed));
    settled.awaitPass();
    settled.expectSession();
}

TEST_F(RoamingTest, ADaemonThatIsKilledFindsItsStationsAgain) {
    std::vector<Walker> walkers;
    for (const Network* const network : {&kTwo, &kFive}) {
        walkers.emplace_back(*this, *network).comeIn();
    }
    walkers.back().walk();
    walkers.back().walk();
    passSeconds(5);
    members_[0].daemon.end(SIGKILL);
    passSeconds(2);
    startDaemon(members_[0]);
    for (Walker& walker : walkers) {
        walker.here().sendPacket();
        ASSERT_TRUE(walker.waitFor(Access::authed));
        walker.awaitPass();
        walker.expectSession();
    }
}

}  // namespace
}  // namespace vesta::testing
