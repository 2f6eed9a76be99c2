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

constexpr const char* kLogin =
    R"({"id": 0, "type": "forbid", "name": "login", "auth": "", "url": ""})";
const char* const kStates[] = {"none", "received", "added", "here", "elsewhere"};

class RecordStates : public ApbdFixture {
protected:
    using Inform = bool (APBDCollaborator::*)(std::shared_ptr<Client>, ClientStatisticInfo&);

    RecordStates() { elsewhere_.name = "wlan1-va1"; }

    // Not in the portal: only the collaborator hears of it.
    static std::shared_ptr<Client> makeStation(FakePortalInstance& owner,
                                               std::initializer_list<const char*> scenarios) {
        return std::make_shared<Client>(sequence<ManageableScenarioSequence>(scenarios),
                                        MacAddr(kMac), "", 1500, owner);
    }
    static std::shared_ptr<Client> makeAuthorised(FakePortalInstance& owner) {
        auto client =
            makeStation(owner, {kLogin, R"({"id": 1, "type": "allow", "name": "guest"})"});
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
    std::shared_ptr<Client> station_ = makeAuthorised(here_);
    std::shared_ptr<Client> onOtherVap_ = makeAuthorised(elsewhere_);
};

TEST_F(RecordStates, EveryStateWithEveryEvent) {
    using C = APBDCollaborator;
    constexpr EndReason kExpired = END_REASON_TIME_EXPIRED;
    const auto told = [this](Inform call, EndReason reason = END_REASON_NONE,
                             bool otherVap = false) {
        return [=] { inform(call, reason, otherVap); };
    };
    const auto notified = [this](const char* action) { return [=] { update(action, record()); }; };
    const auto handOut = [this] { apbd_->takeMessageForClient(kStation, "wlan0-va1"); };
    struct Row {
        const char* event;
        std::function<void()> play;
        // What is sent and "|" the state afterwards, in the order of kStates.
        std::array<const char*, 5> expected;
    };
    const char* const up = "update update|here";
    const char* const assoc = "update assoc|here";
    const char* const left = "update disassoc|received";
    const char* const aged = "del away timeout|none";
    const Row rows[] = {
        {"authenticated", told(&C::informClientAuthenticated), {"add|here", up, up, up, up}},
        {"authenticated on the other VAP",
         told(&C::informClientAuthenticated, END_REASON_NONE, true),
         {"add|here", up, "|here", "|here", up}},
        {"deauthenticated",
         told(&C::informClientDeuthenticated),
         {"|none", "|received", up, up, "|elsewhere"}},
        {"connected", told(&C::informClientConnected), {"|none", assoc, assoc, assoc, assoc}},
        {"disconnected",
         told(&C::informClientDisconnected),
         {"|none", "|received", left, left, "|elsewhere"}},
        {"dropped", told(&C::informClientDrop), {"|none", aged, aged, aged, "|elsewhere"}},
        {"expired",
         told(&C::informClientRemoved, kExpired),
         {"|none", aged, aged, aged, "|elsewhere"}},
        {"expired on the other VAP",
         told(&C::informClientRemoved, kExpired, true),
         {"|none", aged, "|here", "|here", "|elsewhere"}},
        {"removed for apbd",
         told(&C::informClientRemoved, END_REASON_APBD_REQUEST),
         {"|none", "|received", "|here", "|here", "|elsewhere"}},
        {"reset",
         told(&C::informClientResetNeeded),
         {"|none", "del forced|received", "del forced|here", "del forced|here", "|elsewhere"}},
        {"handed out", handOut, {"|none", "|here", "|here", "|here", "|here"}},
        {"add-notify",
         [this] { add(record()); },
         {"|received", "|received", "|here", "|here", "|elsewhere"}},
        {"assoc",
         notified("assoc"),
         {"|none", "|elsewhere", "|elsewhere", "|elsewhere", "|elsewhere"}},
        {"update",
         notified("update"),
         {"|none", "|elsewhere", "|elsewhere", "|elsewhere", "|elsewhere"}},
        {"disassoc",
         notified("disassoc"),
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
        auto stranger = makeStation(here_, {kLogin});
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
    constexpr Inform kIn = &C::informClientAuthenticated;
    constexpr Inform kOut = &C::informClientDeuthenticated;
    constexpr Inform kEnd = &C::informClientRemoved;
    const struct {
        std::vector<Inform> events;
        const char* expected;
        bool remembered;
    } cases[] = {
        {{kIn}, "add", true},
        {{kIn, kOut}, "add", true},
        {{kIn, &C::informClientDisconnected}, "add", true},
        {{kIn, kEnd}, "del away timeout", false},
        {{kIn, kEnd, kIn}, "del forced", true},
        {{kIn, &C::informClientResetNeeded, kOut}, "del forced", true},
    };
    for (const auto& c : cases) {
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

TEST_F(RecordStates, WhatApbdDidNotSeeOverrulesItsRecord) {
    inform(&APBDCollaborator::informClientAuthenticated);
    subscribed(record());
    EXPECT_THAT(sent(), ElementsAre("status", "del forced"));

    // A station that ends while apbd is away is not handed out meanwhile, and does not come back.
    apbd_->disconnectedNotify();
    EXPECT_FALSE(isRemembered());
    inform(&APBDCollaborator::informClientRemoved, END_REASON_TIME_EXPIRED);
    EXPECT_THAT(sent(), ElementsAre());
    subscribed(record());
    EXPECT_FALSE(isRemembered());
    EXPECT_THAT(sent(), ElementsAre("del away timeout"));

    // One that does not end stays here.
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
