// Stations that come in by a record, and copies that news from elsewhere made wrong.

#include <gmock/gmock.h>

#include "apb/apbd_fixture.h"
#include "messages/client_message_factory.h"
#include "support/recording_informator.h"

namespace vesta::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Roaming : public ApbdFixture {
protected:
    Roaming() {
        portal_->addClientsEventsInformator(events_);
        requests();
    }

    std::shared_ptr<RecordingInformator> events_ = std::make_shared<RecordingInformator>();
};

TEST_F(Roaming, SubscribesEveryTenSecondsUntilAUsableAnswerComes) {
    clock_.advanceSeconds(10);
    apbd_->updateState();
    EXPECT_THAT(sent(), IsEmpty());
    clock_.advanceMicroseconds(1);
    apbd_->updateState();
    const json request = requests().at(0);
    EXPECT_EQ(request["cmd"], "subscribe-request");
    EXPECT_TRUE(request["ap-mac"].is_string());
    EXPECT_EQ(request["mobility-domain-list"][1],
              json({{"ssid", "Guest"}, {"radius-domain", ""}, {"mobility-domain", "hall"}}));

    for (const json& useless : {json({{"status", "failed"}, {"user", json::array()}}),
                                json({{"status", "ok"}}), json({{"user", "bob"}})}) {
        apbd_->subscribedNotify(entry(useless));
        clock_.advanceSeconds(11);
        apbd_->updateState();
        EXPECT_THAT(sent(), ElementsAre("subscribe")) << useless;
    }
    subscribed();
    clock_.advanceSeconds(11);
    apbd_->updateState();
    EXPECT_THAT(sent(), IsEmpty());
    apbd_->connectedNotify();
    EXPECT_THAT(sent(), ElementsAre("subscribe"));
}

TEST_F(Roaming, ReadsUsersInEveryShapeAndSurvivesBadOnes) {
    const json other = record(-1, 0, "02:00:00:00:00:02");
    for (const json& users :
         {json(record()), json::array({other, record()}), json({{"1", other}, {"2", record()}}),
          json::array({nullptr, 7, json::object(), record(-1, 0, "no address"), record()})}) {
        build();
        subscribed(users);
        EXPECT_TRUE(isRemembered()) << users;
    }
    build();
    subscribed();
    subscribed(record(-1, 5));
    subscribed(record(-1, 99));  // the record that is there stays
    EXPECT_EQ(apbd_->getMessageForClient(kStation)->getIntValue("cur-session-time"), 5);
}

TEST_F(Roaming, AStationGoesOnWithItsSessionTime) {
    subscribed();
    add(record(-1, 100));
    clock_.advanceSeconds(20);
    arrive();
    EXPECT_EQ(station()["access-type"], "Allow");
    EXPECT_EQ(station()["login"], "bob");
    const std::vector<json> told = requests();
    ASSERT_EQ(told.size(), 1U);
    EXPECT_EQ(summary(told[0]), "update update");
    EXPECT_EQ(told[0]["user"]["cur-scenario-id"], -1);
    EXPECT_EQ(told[0]["user"]["cur-session-time"], 120);
    EXPECT_FALSE(told[0]["user"].contains("scenario"));
}

class CurrentScenario final : public ClientMessageFactory {
public:
    void createMessage() override { message_ = entry(json::object()); }
    std::shared_ptr<MessageEntry> getResultMessage() override { return message_; }
    std::shared_ptr<ScenarioMessageFactory> getScenarioMessageFactory() override { return nullptr; }
    void addCurrentScenarioName(const std::string& name) override {
        message_->insertStringValue("name", name.c_str());
    }

private:
    std::shared_ptr<MessageEntry> message_;
};

class RoamingWithFive : public ApbdFixture {
protected:
    RoamingWithFive()
        : ApbdFixture(R"({"access-type": "forbid", "name": "login", "redirect-url": "http://l",
                          "auth-scenario": "a"},
                         {"access-type": "allow", "name": "a"}, {"access-type": "allow", "name": "b"},
                         {"access-type": "forbid", "name": "over", "redirect-url": "http://o"},
                         {"access-type": "allow", "name": "e"})") {
        subscribed();
    }
};

TEST_F(RoamingWithFive, TheIdDecidesWhoseScenariosAreGoneOnWith) {
    const json carried = json::array(
        {{{"ID", 1}, {"external-url", "http://there"}}, {{"ID", 2}, {"external-url", ""}}});
    struct Case {
        int id;
        json scenarios;
        const char* name;  // of the current scenario
    };
    const Case cases[] = {{-2, carried, "login"},     {-1, carried, "a"},
                          {1, carried, "1"},          {2, carried, "2"},
                          {1, json::array(), "over"}, {1, json::array({{{"ID", "x"}}}), "0"},
                          {7, carried, "1"},          {7, json::array(), "login"}};
    for (const Case& c : cases) {
        json user = record(c.id);
        user["scenario"] = c.scenarios;
        add(user);
        arrive();
        const auto message = portal_->dumpClientToMessage(ClientIdentity(MacAddr(kMac), "", "", ""),
                                                          std::make_shared<CurrentScenario>());
        ASSERT_NE(message, nullptr);
        EXPECT_EQ(message->getCharValue("name"), c.name) << user;
        second();
        second("");
        EXPECT_NE(station(), json()) << "it is authorised, so it may be away";
        remove(user);
        EXPECT_EQ(station(), json());
    }
}

TEST_F(Roaming, ARecordThatCannotBeReadCostsOnlyItself) {
    subscribed();
    json user = record();
    user.erase("user-name");
    add(user);
    arrive();
    EXPECT_EQ(station()["access-type"], "Redirect");
    second();
    login();
    EXPECT_THAT(sent(), ElementsAre("add"));
}

// The way a restart heals: the module reports the station anew.
TEST_F(Roaming, AStationInFrontOfTheLoginIsRemovedWhenItsRecordComes) {
    arrive();
    second();
    events_->take();
    subscribed(record(-1, 30));
    EXPECT_THAT(events_->take(), ElementsAre(std::string("removed ") + kMac + " 1"));
    arrive();
    EXPECT_EQ(station()["access-type"], "Allow");
    EXPECT_THAT(sent(), ElementsAre("update update"));
    subscribed(record(-1, 30));  // authorised now
    EXPECT_EQ(station()["access-type"], "Allow");
}

TEST_F(Roaming, ACopyGoesAsSoonAsItIsNotConnectedWhileTheStationIsElsewhere) {
    subscribed(record());
    arrive();
    second();
    update("assoc", record(-1, 50));
    EXPECT_NE(station(), json());
    apbd_->updateState();
    EXPECT_NE(station(), json());
    sent();
    second("");
    apbd_->updateState();
    EXPECT_EQ(station(), json());
    EXPECT_THAT(sent(), IsEmpty());
    arrive();  // walks back
    EXPECT_THAT(sent(), ElementsAre("update update"));
}

TEST_F(Roaming, NewsFromItsPastDoesNotTouchAStationThatIsHere) {
    subscribed(record());
    arrive();
    update("disassoc", record());
    EXPECT_NE(station(), json());
    second();
    update("assoc", record(-1, 50));
    arrive();  // back before this access point has missed it
    EXPECT_EQ(station()["session-time"], 50);
    update("disassoc", record());
    EXPECT_NE(station(), json());
    second();
    second("");  // leaves
    arrive();    // and comes again
    update("disassoc", record());
    EXPECT_NE(station(), json());
    second();
    second("");  // leaves
    update("disassoc", record());
    EXPECT_EQ(station(), json());
}

TEST_F(Roaming, ASecondRadioTakesTheStationOver) {
    subscribed();
    arrive("wlan0-va1");
    second("wlan0-va1");
    login();
    arrive("wlan1-va1");
    EXPECT_THAT(sent(), ElementsAre("add", "update update"));
    second("wlan1-va1");  // it has left the first radio, of which nothing is told
    EXPECT_THAT(sent(), ElementsAre("update update"));
    events_->take();
    apbd_->updateState();
    EXPECT_THAT(events_->take(), ElementsAre(std::string("removed ") + kMac + " 1"));
    second("");
    EXPECT_THAT(sent(), ElementsAre("update disassoc"));
}

TEST_F(Roaming, ListsOfApbdAreTheInstancesDefaultsUntilItGoes) {
    const json lists =
        json::array({{{"permitted-ip", "192.0.2.0/24"},
                      {"mobility-domain",
                       {{"ssid", "Guest"}, {"radius-domain", ""}, {"mobility-domain", "hall"}}}},
                     {{"permitted-ip", 7}}});
    const auto store = portal_->getWhiteListStore();
    const std::string hash = WhiteAddressesList("", "192.0.2.0/24").getHash();
    apbd_->subscribedNotify(entry({{"user", json::array()}, {"permitted-ip-list", lists}}));
    EXPECT_EQ(store->getWhiteListHash(hash), hash);
    EXPECT_NE(store->getWhiteListHash("free"), "");
    apbd_->disconnectedNotify();
    EXPECT_EQ(store->getWhiteListHash(hash), "");
    EXPECT_NE(store->getWhiteListHash("free"), "");
}

}  // namespace
}  // namespace vesta::testing
