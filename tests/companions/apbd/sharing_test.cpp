#include "apbd/sharing.h"

#include <gmock/gmock.h>

#include "companions/apbd/fakes.h"
#include "support/fake_clock.h"

namespace apbd {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kMac = "02:00:00:00:00:0a";
const std::string kTopic = "root/hall/Guest/" + kMac;

class SharingTest : public ::testing::Test {
protected:
    SharingTest() {
        for (AccessPoint* const one : {&a_, &b_}) {
            broker_.connect(one->client, false);
        }
    }
    void subscribeBoth() {
        for (AccessPoint* const one : {&a_, &b_}) {
            one->request({{"cmd", "status"}, {"service", "internal-ipc"}});
            one->subscribe();
            broker_.run();
            one->told();
        }
    }
    void pass(std::int64_t seconds) { clock_.advanceSeconds(seconds); }
    Json published() { return Json::parse(broker_.retained.at(kTopic)); }

    vesta::testing::FakeClock clock_;
    FakeBroker broker_;
    AccessPoint a_{broker_, "a"};
    AccessPoint b_{broker_, "b"};
    const Json user_ = userOf(kMac);
};

TEST_F(SharingTest, TheSubscriptionIsAnsweredWhenTheWholeStateIsThere) {
    broker_.retained["root/hall/Guest/permitted-ip"] = "10.0.0.0/8";
    broker_.retained["root/hall/Guest/permitted-ip/free"] = "example.org";
    subscribeBoth();
    b_.add(user_);
    broker_.run();
    pass(20);
    a_.request({{"cmd", "status"}, {"service", "internal-ipc"}});
    a_.subscribe();
    ASSERT_EQ(a_.bus.told.size(), 3U);
    EXPECT_EQ(a_.bus.told[1], (Json{{"command", "connected"}}));
    Json aged = user_;
    aged["cur-session-time"] = 120;
    const Json part = {{"ssid", "Guest"}, {"mobility-domain", "hall"}, {"radius-domain", "r"}};
    EXPECT_EQ(a_.bus.told[2],
              (Json{{"command", "subscribe-response"},
                    {"status", "success"},
                    {"user", Json::array({aged})},
                    {"permitted-ip-list",
                     Json::array({{{"permitted-ip", "10.0.0.0/8"}, {"mobility-domain", part}},
                                  {{"permitted-ip", "example.org"}}})}}));
}

TEST_F(SharingTest, AnAnswerHoldsAThousandUsersAndNotificationsTheRest) {
    subscribeBoth();
    for (std::size_t i = 0; i < 1250; ++i) {
        b_.add(userOf(macOf(i)));
    }
    broker_.run();
    a_.told();
    a_.subscribe();
    ASSERT_EQ(a_.bus.told.size(), 4U);
    EXPECT_EQ(a_.bus.told[0]["user"].size(), 1000U);
    EXPECT_EQ(a_.bus.told[1]["command"], "add-notify");
    EXPECT_EQ(a_.bus.told[3]["user"].size(), 50U);
}

TEST_F(SharingTest, AChangeReachesTheOthersAndIsNotEchoed) {
    subscribeBoth();
    a_.add(user_);
    broker_.run();
    EXPECT_THAT(a_.told(), ElementsAre("add-response"));
    EXPECT_EQ(b_.bus.told.at(0)["user"], Json::array({user_}));
    EXPECT_THAT(b_.told(), ElementsAre("add-notify"));

    Json changed = user_;
    changed["cur-scenario-id"] = 4;
    b_.update(changed, "assoc");
    broker_.run();
    EXPECT_THAT(b_.told(), ElementsAre("update-response"));
    EXPECT_FALSE(a_.bus.told.at(0)["user"][0].contains("scenario"));
    EXPECT_THAT(a_.told(), ElementsAre("update-notify:assoc"));
    EXPECT_EQ(published()["user"], changed) << "whole, with its scenarios";

    a_.remove(user_);
    broker_.run();
    EXPECT_THAT(a_.told(), ElementsAre("del-response"));
    EXPECT_THAT(b_.told(), ElementsAre("del-notify"));
    EXPECT_THAT(broker_.retained, IsEmpty());
}

TEST_F(SharingTest, ANewSessionReplacesTheRecordThatOthersHold) {
    subscribeBoth();
    a_.add(user_);
    broker_.run();
    b_.told();
    Json anew = user_;
    anew["user-name"] = "bert";
    a_.remove(anew, "forced");
    broker_.run();
    EXPECT_EQ(b_.bus.told.at(1)["user"], Json::array({anew}));
    EXPECT_THAT(b_.told(), ElementsAre("del-notify", "add-notify"));
    EXPECT_EQ(published()["user"], anew);
    a_.told();
    anew["scenario"] = Json::array();
    b_.add(anew);
    broker_.run();
    EXPECT_THAT(a_.told(), ElementsAre("del-notify", "add-notify"));
}

TEST_F(SharingTest, WhatNobodyHasOrIsOfAnotherDomainIsDropped) {
    subscribeBoth();
    a_.update(user_, "assoc");
    a_.add(userOf(kMac, "elsewhere"));
    a_.add({{"sta-mac", kMac}});
    EXPECT_EQ(a_.bus.told.size(), 3U);
    for (const Json& answer : a_.bus.told) {
        EXPECT_EQ(answer["status"], "failed") << answer;
    }
    broker_.run();
    EXPECT_THAT(broker_.retained, IsEmpty());

    a_.told();
    a_.sharing.received("root/elsewhere/Guest/" + kMac, "{}");
    a_.sharing.received(kTopic, "{\"user\": 5}");
    EXPECT_THAT(a_.told(), IsEmpty());
}

TEST_F(SharingTest, ADeletionThatCrossesAnUpdateIsNotUndoneByIt) {
    subscribeBoth();
    a_.add(user_);
    broker_.run();
    a_.told(), b_.told();
    b_.remove(user_);
    a_.update(user_, "update");
    broker_.run();
    EXPECT_THAT(broker_.retained, IsEmpty());
    EXPECT_THAT(a_.told(), ElementsAre("update-response", "del-notify"));

    a_.add(user_);
    broker_.run();
    a_.told();
    a_.remove(user_);
    a_.add(user_);
    broker_.run();
    EXPECT_THAT(a_.told(), ElementsAre("del-response", "add-response")) << "a new login stays";
    EXPECT_EQ(published()["user"], user_);
}

struct Outage {
    const char* what;
    const char* here;   // at the access point without a broker
    const char* there;  // at the other one, ten seconds after it
    std::vector<std::string> told;
    const char* remains;  // the published action; "" without a record
};

// One access point is without the broker, while the other goes on.
TEST_F(SharingTest, AfterAnOutageEachRecordIsSettled) {
    const Outage cases[] = {
        {"nothing happened", "", "", {}, "add"},
        {"our change is kept", kAssoc, "", {}, "assoc"},
        {"our deletion is kept", "delete", "", {}, ""},
        {"theirs is told", "", kAssoc, {"update-notify:assoc"}, "assoc"},
        {"their deletion is told", "", "delete", {"del-notify"}, ""},
        {"it left us for them", kDisassoc, kAssoc, {"update-notify:assoc"}, "assoc"},
        {"it aged out here and lives there", "delete", kAssoc, {"add-notify"}, "assoc"},
        {"the later of two wins", kAssoc, kAssoc, {"update-notify:assoc"}, "assoc"},
        {"it left us and ended there", kDisassoc, "delete", {"del-notify"}, ""},
        {"it ended on both", "delete", "delete", {}, ""},
        {"it lives here all the same", kAssoc, "delete", {}, "assoc"},
    };
    for (const Outage& one : cases) {
        SCOPED_TRACE(one.what);
        FakeBroker broker;
        AccessPoint a(broker, "c");
        AccessPoint b(broker, "d");
        for (AccessPoint* const point : {&a, &b}) {
            broker.connect(point->client, false);
            point->subscribe();
            broker.run();
        }
        a.add(user_);
        broker.run();
        broker.disconnect(a.client);
        const auto act = [&](AccessPoint& point, const std::string& action) {
            if (action == "delete") {
                point.remove(user_);
            } else if (!action.empty()) {
                point.update(user_, action);
            }
        };
        act(a, one.here);
        pass(10);
        act(b, one.there);
        broker.run();
        a.told();
        broker.connect(a.client, true);
        broker.run();
        EXPECT_EQ(a.told(), one.told);
        const std::string remains =
            broker.retained.empty() ? "" : Json::parse(broker.retained.at(kTopic))["action"];
        EXPECT_EQ(remains, one.remains);
    }
}

TEST_F(SharingTest, ABrokerThatLostItsStateGetsItBack) {
    subscribeBoth();
    a_.add(user_);
    b_.add(userOf("02:00:00:00:00:0b"));
    broker_.run();
    broker_.disconnect(a_.client);
    broker_.disconnect(b_.client);
    a_.update(user_, "disassoc");
    const auto before = broker_.retained;
    broker_.retained.clear();
    a_.told(), b_.told();
    broker_.connect(b_.client, false);
    broker_.run();
    broker_.connect(a_.client, false);
    broker_.run();
    EXPECT_EQ(broker_.retained.size(), 2U);
    EXPECT_EQ(published()["action"], "disassoc");
    EXPECT_THAT(a_.told(), IsEmpty());
    EXPECT_THAT(b_.told(), ElementsAre("update-notify:disassoc"));
}

TEST_F(SharingTest, ABrokerThatDropsMessagesEndsNoSession) {
    subscribeBoth();
    for (std::size_t i = 0; i < 999; ++i) {
        a_.add(userOf(macOf(i)));
    }
    broker_.run();
    broker_.disconnect(b_.client);
    a_.remove(userOf("02:00:00:00:03:e0"));
    broker_.run();
    b_.told();
    broker_.queue = 300;
    broker_.connect(b_.client, true);
    broker_.run();
    EXPECT_THAT(b_.told(), ElementsAre("del-notify"));
}

TEST_F(SharingTest, VestadIsAnsweredThroughAnOutageButNotBeforeTheFirstState) {
    broker_.disconnect(a_.client);
    a_.subscribe();
    EXPECT_THAT(a_.told(), IsEmpty());
    pass(Subscription::kRefusalSeconds);
    a_.sharing.tick();
    a_.sharing.tick();
    ASSERT_EQ(a_.bus.told.size(), 1U);
    EXPECT_EQ(a_.bus.told[0]["status"], "failed");
    a_.told();
    broker_.connect(a_.client, false);
    broker_.run();
    EXPECT_THAT(a_.told(), ElementsAre("subscribe-response"));
    broker_.disconnect(a_.client);
    a_.subscribe();
    EXPECT_THAT(a_.told(), ElementsAre("subscribe-response"));
}

TEST_F(SharingTest, AnApbdThatComesAfterAKilledOneTakesUpItsWork) {
    subscribeBoth();
    a_.add(user_);
    broker_.run();
    broker_.disconnect(a_.client);
    b_.told();

    AccessPoint again(broker_, "e");
    again.mac = a_.mac;
    again.sharing.begin();
    broker_.connect(again.client, false);
    again.update(user_, "disassoc");
    again.subscribe();
    broker_.run();
    EXPECT_EQ(again.bus.told.back()["user"].size(), 1U);
    EXPECT_THAT(again.told(), ElementsAre("connected", "update-response", "subscribe-response"));
    EXPECT_THAT(b_.told(), ElementsAre("update-notify:disassoc"));
    EXPECT_EQ(published()["user"], user_);
}

// It left, or aged out, while its access point had no apbd, and is at home elsewhere by now.
TEST_F(SharingTest, AnEndFromThePastIsRefused) {
    for (const bool isRemoved : {true, false}) {
        subscribeBoth();
        b_.add(user_);
        broker_.run();
        b_.told();
        AccessPoint again(broker_, isRemoved ? "e" : "f");
        broker_.connect(again.client, false);
        if (isRemoved) {
            again.remove(user_);
        } else {
            again.update(user_, "disassoc");
        }
        again.subscribe();
        broker_.run();
        ASSERT_EQ(again.bus.told.size(), 3U);
        EXPECT_EQ(again.bus.told[1]["status"], "failed");
        EXPECT_THAT(b_.told(), IsEmpty());
        EXPECT_EQ(published()["action"], "add");
    }
}

TEST_F(SharingTest, ADeletionOfWhatIsUnknownDoesNotSpoilTheState) {
    subscribeBoth();
    b_.add(user_);
    broker_.run();
    broker_.disconnect(a_.client);
    a_.told();
    broker_.connect(a_.client, true);
    a_.sharing.received("root/hall/Guest/00:00:00:00:00:01", "");
    a_.subscribe();
    broker_.run();
    EXPECT_EQ(a_.bus.told.back()["user"].size(), 1U);
    EXPECT_THAT(a_.told(), ElementsAre("subscribe-response"));
}

TEST_F(SharingTest, AVestadThatTookNothingForLongIsAskedToSubscribe) {
    subscribeBoth();
    a_.bus.takes = false;
    b_.add(user_);
    broker_.run();
    pass(VestadSide::kPatienceSeconds);
    a_.sharing.tick();
    EXPECT_FALSE(a_.sharing.hasUnsent());
    a_.bus.takes = true;
    pass(Subscription::kRemindSeconds);
    a_.sharing.tick();
    EXPECT_THAT(a_.told(), ElementsAre("connected"));
    a_.subscribe();
    EXPECT_THAT(a_.told(), ElementsAre("subscribe-response"));
}

TEST_F(SharingTest, ALostMarkerAndALostPublicationAreMadeUpFor) {
    a_.subscribe();
    broker_.step();
    broker_.losePublications();
    EXPECT_THAT(a_.told(), IsEmpty());
    pass(Loading::kPatienceSeconds);
    a_.sharing.tick();
    broker_.run();
    EXPECT_THAT(a_.told(), ElementsAre("subscribe-response"));

    a_.add(user_);
    broker_.losePublications();
    pass(Ledger::kConfirmSeconds - 1);
    a_.sharing.tick();
    broker_.run();
    EXPECT_THAT(broker_.retained, IsEmpty());
    pass(1);
    a_.sharing.tick();
    broker_.run();
    EXPECT_EQ(published()["user"], user_);
}

TEST_F(SharingTest, AWhiteListThatComesLaterIsHandedOnAtOnce) {
    subscribeBoth();
    a_.client.publish("root/hall/Guest/permitted-ip", "10.1.0.0/16");
    broker_.run();
    EXPECT_EQ(a_.bus.told.at(0)["permitted-ip-list"][0]["permitted-ip"], "10.1.0.0/16");
    EXPECT_THAT(a_.told(), ElementsAre("subscribe-response"));
    a_.client.publish("root/hall/Guest/permitted-ip", "\xff");
    broker_.run();
    EXPECT_THAT(a_.told(), IsEmpty());
}

TEST_F(SharingTest, KeepsNoMoreChangesThanItMay) {
    subscribeBoth();
    broker_.disconnect(a_.client);
    for (std::size_t i = 0; i < Ledger::kMostKept + 1; ++i) {
        a_.add(userOf(macOf(i)));
    }
    broker_.connect(a_.client, true);
    broker_.run();
    EXPECT_EQ(broker_.retained.size(), Ledger::kMostKept);
    EXPECT_EQ(broker_.retained.count("root/hall/Guest/02:00:00:00:00:00"), 0U) << "the oldest";
}

// Whatever two access points do, alone or at once, with and without the broker: in the end both
// hold what is published.
TEST_F(SharingTest, BothEndWithThePublishedState) {
    subscribeBoth();
    unsigned state = 1;
    const auto chance = [&state](unsigned sides) {
        state = state * 1103515245U + 12345U;
        return (state >> 16) % sides;
    };
    const std::vector<std::string> actions{kAssoc, kDisassoc, kUpdate};
    for (int turn = 0; turn < 5000; ++turn) {
        AccessPoint& point = chance(2) == 0 ? a_ : b_;
        Json user = userOf("02:00:00:00:00:0" + std::to_string(chance(4)));
        user["cur-scenario-id"] = turn;
        switch (chance(8)) {
            case 0:
                point.add(user);
                break;
            case 1:
                point.remove(user);
                break;
            case 2:
                point.remove(user, "forced");
                break;
            case 3:
            case 4:
                point.update(user, actions[chance(3)]);
                break;
            case 5:
                pass(chance(3));
                break;
            case 6:
                broker_.step();
                break;
            default:
                if (chance(4) != 0) {
                    broker_.run();
                } else if (point.client.connected) {
                    broker_.disconnect(point.client);
                } else {
                    broker_.connect(point.client, true);
                }
        }
        if (turn % 100 != 99) {
            continue;
        }
        for (AccessPoint* const one : {&a_, &b_}) {
            if (!one->client.connected) {
                broker_.connect(one->client, true);
            }
        }
        broker_.run();
        Json expected = Json::array();
        for (const auto& [topic, payload] : broker_.retained) {
            expected.push_back(Json::parse(payload)["user"]["cur-scenario-id"]);
        }
        for (AccessPoint* const one : {&a_, &b_}) {
            one->told();
            one->subscribe();
            Json held = Json::array();
            for (const Json& record : one->bus.told.back()["user"]) {
                held.push_back(record["cur-scenario-id"]);
            }
            ASSERT_EQ(held, expected) << "after turn " << turn;
        }
    }
}

}  // namespace
}  // namespace apbd
