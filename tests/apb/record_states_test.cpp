// Every state of a record with every event: what is sent, and what the record is afterwards.

#include <gmock/gmock.h>

#include "apb/apbd_fixture.h"
#include "client/client.h"
#include "scenario/manageable_scenario_sequence.h"
#include "support/fake_portal_instance.h"
#include "support/keyed_scenarios.h"

namespace vesta::testing {
namespace {

using ::testing::ElementsAre;

const char* const kStates[] = {"none", "received", "added", "here", "elsewhere"};

class RecordStates : public ApbdFixture {
protected:
    using Inform = bool (APBDCollaborator::*)(std::shared_ptr<Client>, ClientStatisticInfo&);

    RecordStates() { elsewhere_.name = "wlan1-va1"; }

    // Authorised, and not in the portal: only the collaborator hears of it.
    static std::shared_ptr<Client> makeStation(FakePortalInstance& owner) {
        auto client = std::make_shared<Client>(
            sequence<ManageableScenarioSequence>(
                {R"({"id": 0, "type": "forbid", "name": "login", "auth": "", "url": ""})",
                 R"({"id": 1, "type": "allow", "name": "guest"})"}),
            MacAddr(kMac), "", 1500, owner);
        client->set_auth_scenario_client();
        return client;
    }

    void inform(Inform call, EndReason reason = END_REASON_NONE, bool otherVap = false) {
        ClientStatisticInfo statistics;
        statistics.endReason = reason;
        ((*apbd_).*call)(otherVap ? onOtherVap_ : station_, statistics);
    }

    void enter(const std::string& state) {
        build();
        subscribed();
        if (state == "added") {
            inform(&APBDCollaborator::informClientAuthenticated);
        } else if (state != "none") {
            add(record());
        }
        if (state == "here") {
            inform(&APBDCollaborator::informClientAuthenticated);
        } else if (state == "elsewhere") {
            update("assoc", record());
        }
        sent();
    }

    // Asks by events: only of a station that is here is its going told, only of one that is not
    // elsewhere its end.
    std::string state() {
        if (!isRemembered()) {
            return "none";
        }
        inform(&APBDCollaborator::informClientDisconnected);
        inform(&APBDCollaborator::informClientDisconnected, END_REASON_NONE, true);
        inform(&APBDCollaborator::informClientRemoved, END_REASON_TIME_EXPIRED);
        const std::vector<std::string> answers = sent();
        return answers.size() == 2 ? "here" : answers.empty() ? "elsewhere" : "received";
    }

    FakePortalInstance here_;
    FakePortalInstance elsewhere_;
    std::shared_ptr<Client> station_ = makeStation(here_);
    std::shared_ptr<Client> onOtherVap_ = makeStation(elsewhere_);
};

TEST_F(RecordStates, EveryStateWithEveryEvent) {
    using C = APBDCollaborator;
    struct Row {
        const char* event;
        std::function<void()> play;
        std::array<const char*, 5> expected;  // "sent|state afterwards", in the order of kStates
    };
    const Row rows[] = {
        {"authenticated",
         [this] { inform(&C::informClientAuthenticated); },
         {"add|here", "update update|here", "update update|here", "update update|here",
          "update update|here"}},
        {"authenticated on the other VAP",
         [this] { inform(&C::informClientAuthenticated, END_REASON_NONE, true); },
         {"add|here", "update update|here", "|here", "|here", "update update|here"}},
        {"deauthenticated",
         [this] { inform(&C::informClientDeuthenticated); },
         {"|none", "|received", "update update|here", "update update|here", "|elsewhere"}},
        {"connected",
         [this] { inform(&C::informClientConnected); },
         {"|none", "update assoc|here", "update assoc|here", "update assoc|here",
          "update assoc|here"}},
        {"disconnected",
         [this] { inform(&C::informClientDisconnected); },
         {"|none", "|received", "update disassoc|received", "update disassoc|received",
          "|elsewhere"}},
        {"dropped",
         [this] { inform(&C::informClientDrop); },
         {"|none", "del away timeout|none", "del away timeout|none", "del away timeout|none",
          "|elsewhere"}},
        {"expired",
         [this] { inform(&C::informClientRemoved, END_REASON_TIME_EXPIRED); },
         {"|none", "del away timeout|none", "del away timeout|none", "del away timeout|none",
          "|elsewhere"}},
        {"expired on the other VAP",
         [this] { inform(&C::informClientRemoved, END_REASON_TIME_EXPIRED, true); },
         {"|none", "del away timeout|none", "|here", "|here", "|elsewhere"}},
        {"removed for apbd",
         [this] { inform(&C::informClientRemoved, END_REASON_APBD_REQUEST); },
         {"|none", "|received", "|here", "|here", "|elsewhere"}},
        {"reset",
         [this] { inform(&C::informClientResetNeeded); },
         {"|none", "del forced|received", "del forced|here", "del forced|here", "|elsewhere"}},
        {"handed out",
         [this] {
             apbd_->takeMessageForClient(ClientInformationIdentity(MacAddr(kMac), "Guest"),
                                         "wlan0-va1");
         },
         {"|none", "|here", "|here", "|here", "|here"}},
        {"add-notify",
         [this] { add(record()); },
         {"|received", "|received", "|here", "|here", "|elsewhere"}},
        {"notify assoc",
         [this] { update("assoc", record()); },
         {"|none", "|elsewhere", "|elsewhere", "|elsewhere", "|elsewhere"}},
        {"notify update",
         [this] { update("update", record()); },
         {"|none", "|elsewhere", "|elsewhere", "|elsewhere", "|elsewhere"}},
        {"notify disassoc",
         [this] { update("disassoc", record()); },
         {"|none", "|received", "|received", "|here", "|received"}},
        {"del-notify", [this] { remove(record()); }, {"|none", "|none", "|none", "|none", "|none"}},
    };
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < row.expected.size(); ++i) {
            SCOPED_TRACE(std::string(row.event) + " in state " + kStates[i]);
            enter(kStates[i]);
            row.play();
            const std::vector<std::string> lines = sent();
            EXPECT_EQ((lines.empty() ? "" : lines.front()) + "|" + state(), row.expected[i]);
        }
    }
}

// Nobody may be let in by the record of a station that is back in front of the login.
TEST_F(RecordStates, AStationThatLosesItsAuthorisationIsWithdrawn) {
    for (const auto& [name, withdrawn] : {std::pair("received", false), std::pair("added", true)}) {
        SCOPED_TRACE(name);
        enter(name);
        auto stranger = std::make_shared<Client>(
            sequence<ManageableScenarioSequence>(
                {R"({"id": 0, "type": "forbid", "name": "login", "auth": "", "url": ""})"}),
            MacAddr(kMac), "", 1500, here_);
        ClientStatisticInfo statistics;
        apbd_->informClientDeuthenticated(stranger, statistics);
        apbd_->informClientRemoved(stranger, statistics);
        EXPECT_EQ(sent().size(), withdrawn ? 1U : 0U);
        EXPECT_EQ(isRemembered(), !withdrawn);
    }
}

// Requests that a newcomer to apbd never saw say all, in one message a station.
TEST_F(RecordStates, WhatWaitsSaysAllInOneMessage) {
    using C = APBDCollaborator;
    struct Case {
        std::vector<Inform> events;
        const char* expected;
        bool remembered;
    };
    const Case cases[] = {
        {{&C::informClientAuthenticated}, "add", true},
        {{&C::informClientAuthenticated, &C::informClientDeuthenticated}, "add", true},
        {{&C::informClientAuthenticated, &C::informClientDisconnected}, "add", true},
        {{&C::informClientAuthenticated, &C::informClientRemoved}, "del away timeout", false},
        {{&C::informClientAuthenticated, &C::informClientRemoved, &C::informClientAuthenticated},
         "del forced",
         true},
        {{&C::informClientAuthenticated, &C::informClientResetNeeded,
          &C::informClientDeuthenticated},
         "del forced",
         true},
    };
    for (const Case& c : cases) {
        build();
        sent();
        for (const Inform event : c.events) {
            inform(event);
        }
        EXPECT_THAT(sent(), ElementsAre());
        clock_.advanceSeconds(30);
        subscribed();
        const std::vector<json> requests = this->requests();
        ASSERT_EQ(requests.size(), 1U);
        EXPECT_EQ(summary(requests[0]), c.expected);
        EXPECT_TRUE(requests[0]["user"].contains("scenario")) << requests[0];
        EXPECT_EQ(requests[0]["user"]["cur-session-time"], 30);
        EXPECT_EQ(isRemembered(), c.remembered);
    }
}

TEST_F(RecordStates, AKeptDeletionKeepsTheRecordOut) {
    inform(&APBDCollaborator::informClientAuthenticated);
    inform(&APBDCollaborator::informClientRemoved, END_REASON_TIME_EXPIRED);
    subscribed(record());
    EXPECT_FALSE(isRemembered());
}

TEST_F(RecordStates, ALoginThatApbdDidNotSeeReplacesTheDomainsRecord) {
    inform(&APBDCollaborator::informClientAuthenticated);
    subscribed(record());
    EXPECT_THAT(sent(), ElementsAre("status", "del forced"));
}

// Its record is not handed out meanwhile, and its end is told when apbd is back.
TEST_F(RecordStates, AStationThatEndsWhileApbdIsAwayDoesNotComeBack) {
    enter("here");
    apbd_->disconnectedNotify();
    EXPECT_FALSE(isRemembered());
    inform(&APBDCollaborator::informClientRemoved, END_REASON_TIME_EXPIRED);
    EXPECT_THAT(sent(), ElementsAre());
    subscribed(record());
    EXPECT_FALSE(isRemembered());
    EXPECT_THAT(sent(), ElementsAre("del away timeout"));
}

TEST_F(RecordStates, AStationStaysHereWhileApbdIsAway) {
    enter("added");
    apbd_->disconnectedNotify();
    subscribed(record());
    EXPECT_EQ(state(), "here");
}

TEST_F(RecordStates, AnApbdThatHasLostAStationIsToldOfItAgain) {
    for (const auto& [name, told] : {std::pair("added", 1U), std::pair("here", 1U),
                                     std::pair("received", 0U), std::pair("elsewhere", 0U)}) {
        SCOPED_TRACE(name);
        enter(name);
        apbd_->disconnectedNotify();
        subscribed();
        for (int second = 0; second < 5; ++second) {
            clock_.advanceSeconds(1);
            apbd_->updateState();
        }
        EXPECT_EQ(sent(), std::vector<std::string>(told, "add"));
        EXPECT_EQ(isRemembered(), told == 1);
    }
}

}  // namespace
}  // namespace vesta::testing
