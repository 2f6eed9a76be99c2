#include "apbd/sharing.h"

#include <functional>
#include <sstream>

#include "companions/apbd/fakes.h"
#include "support/fake_clock.h"

namespace apbd {
namespace {

const std::string kMac = "02:00:00:00:00:0a";
const std::string kTopic = "root/hall/Guest/" + kMac;

// Three access points at one broker. "a" and "b" are subscribed; "c" is a process that takes the
// place of "a", and neither connected nor subscribed yet.
class Domain {
public:
    Domain() {
        for (AccessPoint* const one : {&a, &b}) {
            broker.connect(one->client, false);
            one->request({{"cmd", "status"}, {"service", "internal-ipc"}});
            one->subscribe();
            broker.run();
            one->told();
        }
    }

    // Plays acts that are separated by ", ": each names who does what, and with what.
    void play(const std::string& acts) {
        for (std::size_t begin = 0; begin < acts.size();) {
            const std::size_t end = std::min(acts.find(", ", begin), acts.size());
            std::istringstream words(acts.substr(begin, end - begin));
            std::string who, what, more, rest;
            words >> who >> what >> more >> std::ws;
            std::getline(words, rest);
            if (who == "pass") {
                clock.advanceSeconds(std::stoi(what));
            } else if (who == "user") {
                user["user-name"] = what;
            } else {
                play(who == "b" ? b : who == "c" ? c : a, what, more, rest);
            }
            begin = end + 2;
        }
    }
    // What each vestad was told since the last call: "a add-response, b add-notify anna".
    std::string told() {
        std::string all;
        for (AccessPoint* const point : {&a, &b, &c}) {
            for (const std::string& line : point->told()) {
                all += (all.empty() ? "" : ", ") + point->name + " " + line;
            }
        }
        return all;
    }
    // The station's record at the broker, by its action, user and scenario; "" without one.
    std::string published() {
        if (broker.retained.count(kTopic) == 0) {
            return "";
        }
        const Json record = Json::parse(broker.retained[kTopic]);
        const Json& its = record["user"];
        EXPECT_TRUE(its.contains("scenario")) << "not whole";
        return textOf(record, "action") + " " + textOf(its, "user-name") + " " +
               its["cur-scenario-id"].dump();
    }

    vesta::testing::FakeClock clock;
    FakeBroker broker;
    AccessPoint a{broker, "a", "02:00:00:00:ff:0a"};
    AccessPoint b{broker, "b", "02:00:00:00:ff:0b"};
    AccessPoint c{broker, "c", "02:00:00:00:ff:0a"};
    Json user = userOf(kMac);  // of whom the requests are

private:
    void play(AccessPoint& point, const std::string& what, const std::string& more,
              const std::string& rest) {
        const std::map<std::string, std::function<void()>> acts = {
            {"add", [&] { point.add(user); }},
            {"update", [&] { point.update(user = inNextScenario(user), more); }},
            {"del", [&] { point.remove(user, more); }},
            {"subscribe", [&] { point.subscribe(); }},
            {"begins", [&] { point.sharing.begin(); }},
            {"ticks", [&] { point.sharing.tick(); }},
            {"comes", [&] { broker.connect(point.client, more != "anew"); }},
            {"goes", [&] { broker.disconnect(point.client); }},
            {"takes", [&] { point.bus.takes = more != "nothing"; }},
            {"hears", [&] { point.sharing.received(more, rest, 0); }},
            {"publishes", [&] { point.client.publish(more, rest, 3600); }},
            {"ages", [&] { clock.advanceSeconds(1); }},
            // Of the broker.
            {"runs", [&] { broker.run(); }},
            {"steps", [&] { broker.step(); }},
            {"forgets", [&] { broker.retained.clear(); }},
            {"loses", [&] { broker.losePublications(); }},
        };
        acts.at(what)();
    }
    static Json inNextScenario(Json record) {
        record["cur-scenario-id"] = record["cur-scenario-id"].get<int>() + 1;
        return record;
    }
};

// Some acts, after which the broker carries all that was sent; and what came of them.
struct Step {
    const char* acts;
    const char* told;
    const char* published;
};

struct Course {
    const char* what;
    std::vector<Step> steps;
};

const Course kCourses[] = {
    {"a change reaches the others and is not echoed",
     {{"a add", "a add-response, b add-notify anna", "add anna 0"},
      {"b update assoc", "a update-notify assoc, b update-response", "assoc anna 1"},
      {"a del", "a del-response, b del-notify", ""}}},
    {"a new session replaces the record that others hold",
     {{"a add", "a add-response, b add-notify anna", "add anna 0"},
      {"user bert, a del forced", "a del-response, b del-notify, b add-notify bert",
       "reset bert 0"},
      {"user carl, b add", "a del-notify, a add-notify carl, b add-response", "add carl 0"}}},
    {"what nobody has and what is no record is dropped",
     {{"a update assoc", "a update-response failed", ""},
      {"a hears root/elsewhere/Guest/02:00:00:00:00:0a {}", "", ""},
      {"a hears root/hall/Guest/02:00:00:00:00:0a {\"user\": 5}", "", ""}}},
    {"a deletion that crosses an update is not undone by it",
     {{"a add", "a add-response, b add-notify anna", "add anna 0"},
      {"b del, a update update",
       "a update-response, a del-notify, b del-response, b add-notify anna, b del-notify", ""}}},
    {"a login right behind a deletion stays",
     {{"a add", "a add-response, b add-notify anna", "add anna 0"},
      {"a del, a add", "a del-response, a add-response, b del-notify, b add-notify anna",
       "add anna 0"}}},
    {"a leaving that crosses the arrival elsewhere counts for less",
     {{"b add", "a add-notify anna, b add-response", "add anna 0"},
      {"a update disassoc, b update assoc",
       "a update-response, a update-notify assoc, b update-response", "assoc anna 2"}}},
    {"a broker that lost its state gets it back",
     {{"a add", "a add-response, b add-notify anna", "add anna 0"},
      {"a goes, b goes, a update disassoc, broker forgets", "a update-response", ""},
      {"b comes anew", "", ""},
      {"a comes anew", "b update-notify disassoc", "disassoc anna 1"}}},
    {"vestad is answered through an outage, but not before the first state",
     {{"c subscribe", "", ""},
      {"pass 2, c ticks, c ticks", "c subscribe-response failed", ""},
      {"c comes anew", "c subscribe-response 0", ""},
      {"c goes, c subscribe", "c subscribe-response 0", ""}}},
    {"an apbd that comes after a killed one takes up its work",
     {{"a add", "a add-response, b add-notify anna", "add anna 0"},
      {"a goes, c begins, c comes anew, c update disassoc, c subscribe",
       "b update-notify disassoc, c connected, c update-response, c subscribe-response 1",
       "disassoc anna 1"}}},
    {"an end from the past is refused: the station is at home elsewhere by now",
     {{"b add", "a add-notify anna, b add-response", "add anna 0"},
      {"c comes anew, c del, c subscribe",
       "c connected, c del-response failed, c subscribe-response 1", "add anna 0"}}},
    {"so is a leaving from the past",
     {{"b add", "a add-notify anna, b add-response", "add anna 0"},
      {"c comes anew, c update disassoc, c subscribe",
       "c connected, c update-response failed, c subscribe-response 1", "add anna 0"}}},
    {"a deletion of what is unknown does not spoil the state that is being read",
     {{"b add", "a add-notify anna, b add-response", "add anna 0"},
      {"a goes, a comes, a hears root/hall/Guest/00:00:00:00:00:01, a subscribe",
       "a subscribe-response 1", "add anna 0"}}},
    {"a vestad that took nothing for long is asked to subscribe",
     {{"a takes nothing, b add", "b add-response", "add anna 0"},
      {"pass 10, a ticks", "", "add anna 0"},
      {"a takes all, pass 10, a ticks", "a connected", "add anna 0"},
      {"a subscribe", "a subscribe-response 1", "add anna 0"}}},
    {"a marker that is lost is sent again",
     {{"c comes anew, c subscribe, broker steps, broker loses", "", ""},
      {"pass 10, c ticks", "c subscribe-response 0", ""}}},
    {"so is a publication",
     {{"a add, broker loses", "a add-response", ""},
      {"pass 29, a ticks", "", ""},
      {"pass 1, a ticks", "b add-notify anna", "add anna 0"}}},
    {"a white list that comes later is handed on at once",
     {{"a publishes root/hall/Guest/permitted-ip 10.1.0.0/16",
       "a subscribe-response 0 10.1.0.0/16, b subscribe-response 0 10.1.0.0/16", ""},
      {"a publishes root/hall/Guest/permitted-ip \xff", "", ""}}},
};

TEST(SharingTest, EveryCourse) {
    for (const Course& course : kCourses) {
        SCOPED_TRACE(course.what);
        Domain domain;
        for (const Step& step : course.steps) {
            domain.play(step.acts);
            domain.broker.run();
            EXPECT_EQ(domain.told(), step.told) << step.acts;
            EXPECT_EQ(domain.published(), step.published) << step.acts;
        }
    }
}

// One access point is without the broker, while the other goes on.
TEST(SharingTest, AfterAnOutageEachRecordIsSettled) {
    const struct {
        const char* what;
        const char* here;   // at the access point without a broker
        const char* there;  // at the other one, ten seconds after it
        const char* told;
        const char* remains;  // at the broker
    } cases[] = {
        {"nothing happened", "", "", "", "add anna 0"},
        {"our change is kept", "a update assoc", "", "", "assoc anna 1"},
        {"our deletion is kept", "a del", "", "", ""},
        {"theirs is told", "", "b update assoc", "update-notify assoc", "assoc anna 1"},
        {"their deletion is told", "", "b del", "del-notify", ""},
        {"it left us for them", "a update disassoc", "b update assoc", "update-notify assoc",
         "assoc anna 2"},
        {"it aged out here and lives there", "a del", "b update assoc", "add-notify anna",
         "assoc anna 1"},
        {"the later of two wins", "a update assoc", "b update assoc", "update-notify assoc",
         "assoc anna 2"},
        {"it left us and ended there", "a update disassoc", "b del", "del-notify", ""},
        {"it ended on both", "a del", "b del", "", ""},
        {"it lives here all the same", "a update assoc", "b del", "", "assoc anna 1"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.what);
        Domain domain;
        domain.play("a add, broker runs, a goes");
        domain.play(one.here);
        domain.play("pass 10");
        domain.play(one.there);
        domain.play("broker runs");
        domain.told();
        domain.play("a comes, broker runs");
        EXPECT_EQ(::testing::PrintToString(domain.a.told()),
                  *one.told == '\0' ? "{}" : "{ \"" + std::string(one.told) + "\" }");
        EXPECT_EQ(domain.published(), one.remains);
    }
}

TEST(SharingTest, ARecordEndsByItselfUnlessItsStationIsAtHome) {
    Domain domain;
    domain.user["scenario"] = {{{"ID", 0}}, {{"ID", 1}, {"away-timeout", 600}}};
    domain.play("a add, broker runs");
    domain.told();
    std::string told;
    for (int hours = 0; hours < 36; ++hours) {
        domain.play("pass 3600, a ticks, broker runs, b ticks");
        told += domain.told();
    }
    EXPECT_EQ(told, std::string("b update-notify update") + "b update-notify update" +
                        "b update-notify update")
        << "each twelve hours";
    domain.play("a goes, pass 90000, a ticks, b ticks");
    EXPECT_EQ(domain.told(), "b del-notify") << "its access point can't be reached";
    domain.play("a comes, broker runs");
    EXPECT_EQ(domain.told(), "b add-notify anna") << "it never left";
    domain.play("a update disassoc, broker runs, pass 590, a ticks, b ticks");
    EXPECT_EQ(domain.told(), "a update-response, b update-notify disassoc");
    domain.play("pass 20, a ticks, b ticks");
    EXPECT_EQ(domain.told(), "a del-notify, b del-notify") << "it was away for too long";
}

TEST(SharingTest, TheSubscriptionIsAnsweredWithTheWholeState) {
    Domain domain;
    domain.broker.retained["root/hall/Guest/permitted-ip"] = "10.0.0.0/8";
    domain.broker.retained["root/hall/Guest/permitted-ip/free"] = "example.org";
    domain.play("b add, pass 20, c comes anew, c subscribe, broker runs");
    Json aged = domain.user;
    aged["cur-session-time"] = 120;
    const Json part = {{"ssid", "Guest"}, {"mobility-domain", "hall"}, {"radius-domain", "r"}};
    EXPECT_EQ(domain.c.bus.told.back(),
              (Json{{"command", "subscribe-response"},
                    {"status", "success"},
                    {"user", Json::array({aged})},
                    {"permitted-ip-list",
                     Json::array({{{"permitted-ip", "10.0.0.0/8"}, {"mobility-domain", part}},
                                  {{"permitted-ip", "example.org"}}})}}));
}

TEST(SharingTest, RefusesWhatIsOfNoDomainOfItsOwn) {
    Domain domain;
    for (const Json& user : {userOf(kMac, "elsewhere"), Json{{"sta-mac", kMac}}}) {
        domain.a.add(user);
        EXPECT_EQ(domain.told(), "a add-response failed");
    }
    domain.broker.run();
    EXPECT_TRUE(domain.broker.retained.empty());
}

TEST(SharingTest, AnAnswerHoldsAThousandUsersAndNotificationsTheRest) {
    Domain domain;
    for (std::size_t i = 0; i < 1250; ++i) {
        domain.b.add(userOf(macOf(i)));
    }
    domain.broker.run();
    domain.told();
    domain.a.subscribe();
    ASSERT_EQ(domain.a.bus.told.size(), 4U);
    EXPECT_EQ(domain.a.bus.told[0]["user"].size(), 1000U);
    EXPECT_EQ(domain.a.bus.told[1]["command"], "add-notify");
    EXPECT_EQ(domain.a.bus.told[3]["user"].size(), 50U);
}

TEST(SharingTest, ABrokerThatDropsMessagesEndsNoSession) {
    Domain domain;
    for (std::size_t i = 0; i < 999; ++i) {
        domain.a.add(userOf(macOf(i)));
    }
    domain.play("a add, broker runs, b goes, a del, broker runs");
    domain.told();
    domain.broker.queue = 300;
    domain.play("b comes, broker runs");
    EXPECT_EQ(domain.told(), "b del-notify");
}

TEST(SharingTest, KeepsNoMoreChangesThanItMay) {
    Domain domain;
    domain.play("a goes");
    for (std::size_t i = 0; i < Ledger::kMostKept + 1; ++i) {
        domain.a.add(userOf(macOf(i)));
    }
    domain.play("a comes, broker runs");
    EXPECT_EQ(domain.broker.retained.size(), Ledger::kMostKept);
    EXPECT_EQ(domain.broker.retained.count("root/hall/Guest/" + macOf(0)), 0U) << "the oldest";
}

// Whatever two access points do, alone or at once, with and without the broker: in the end both
// hold what is published.
TEST(SharingTest, BothEndWithThePublishedState) {
    Domain domain;
    unsigned state = 1;
    const auto chance = [&state](unsigned sides) {
        state = state * 1103515245U + 12345U;
        return (state >> 16) % sides;
    };
    const char* const acts[] = {
        "add",           "add",  "del",  "del forced", "update assoc", "update disassoc",
        "update update", "goes", "runs", "steps",      "steps",        "ages"};
    const auto reconnect = [&domain](AccessPoint& point) {
        if (!point.client.connected) {
            domain.broker.connect(point.client, true);
        }
    };
    for (int turn = 0; turn < 5000; ++turn) {
        AccessPoint& point = chance(2) == 0 ? domain.a : domain.b;
        domain.user = userOf(macOf(chance(4)));
        domain.user["cur-scenario-id"] = 2 * turn;
        const std::string act = acts[chance(12)];
        if (act == "goes" && !point.client.connected) {
            reconnect(point);
        } else {
            domain.play(point.name + " " + act);
        }
        if (turn % 100 != 99) {
            continue;
        }
        reconnect(domain.a);
        reconnect(domain.b);
        domain.broker.run();
        Json expected = Json::array();
        for (const auto& [topic, payload] : domain.broker.retained) {
            expected.push_back(Json::parse(payload)["user"]["cur-scenario-id"]);
        }
        domain.told();
        for (AccessPoint* const one : {&domain.a, &domain.b}) {
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
