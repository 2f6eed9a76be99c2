// A station's roads through one instance and its RADIUS server, told by what the informators hear.

#include "portal/portal_instance.h"

#include <gmock/gmock.h>

#include <functional>
#include <map>
#include <sstream>

#include "platform/librad/support.h"
#include "scenario/access_scenario_constraints.h"
#include "scenario/scenario.h"
#include "station/command_info.h"
#include "support/radius_instance.h"
#include "support/recording_informator.h"

namespace vesta {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace rad = ostrel::testing;

const char* const kMac = "02:00:00:00:00:01";
const char* const kIp = "10.1.0.1";

class ThrowingInformator final : public Informator {
    bool informClientDeuthenticated(std::shared_ptr<Client>, ClientStatisticInfo&) override {
        throw std::runtime_error("broken");
    }
    bool informClientAuthenticated(std::shared_ptr<Client>, ClientStatisticInfo&) override {
        throw 7;
    }
};

class PortalInstanceTest : public testing::InstanceTest {
protected:
    void build(const std::string& mode, int ageTimeout, const std::string& scenarios) {
        const std::string radius = testing::radiusObject(server_.port(), server_.port());
        instance_ = testing::buildInstance(
            testing::instanceText(mode, true, radius, scenarios, ageTimeout));
        Singleton<RadiusListener>::getInstance().stop();
        // Whatever another one does, the recording one is told.
        instance_->addClientsEventsInformator(std::make_shared<ThrowingInformator>());
        instance_->addClientsEventsInformator(heard_);
    }

    // Plays the road's words, "action:argument=result(what was heard, repeats once)", and gives
    // them back as they went: the road itself when everything came as it says.
    std::string play(const std::string& road) {
        std::istringstream words(road);
        std::string played;
        for (std::string word; words >> word;) {
            word.erase(std::min(word.find_first_of("=("), word.size()));
            const std::size_t colon = std::min(word.find(':'), word.size());
            const std::string argument = word.substr(std::min(colon + 1, word.size()));
            played += (played.empty() ? "" : " ") + word + act(word.substr(0, colon), argument);
            std::string heard;
            std::vector<std::string> events = heard_->take();
            events.erase(std::unique(events.begin(), events.end()), events.end());
            for (std::string& event : events) {
                event.erase(event.find(kMac) - 1, 1 + std::string(kMac).size());
                std::replace(event.begin(), event.end(), ' ', '/');
                heard += (heard.empty() ? "" : ",") + event;
            }
            played += heard.empty() ? "" : "(" + heard + ")";
        }
        return played;
    }

    // What the word's action gives: "=" and a number, or "".
    std::string act(const std::string& action, const std::string& argument) {
        ClientIdentity station(MacAddr(kMac), "", "", "");
        ClientIdentity byIp({}, kIp, "", "");
        AccessScenarioConstraints limits;
        const std::map<std::string, std::function<int()>> asked{
            {"add", [&] { return addClient(argument.empty() ? kMac : argument, kIp); }},
            {"known", [&] { return instance_->isYourClient(station); }},
            {"asks", [&] { return requestsIn(std::stoi(argument)); }},
            {"login", [&] { return login("bob", kIp, argument); }},
            {"other", [&] { return login("eve", kIp, argument); }},
            {"bob", [&] { return dump(kMac)->getCharValue("login") == "bob" ? 1 : 0; }},
            {"portal", [&] { return instance_->setClientScenario(byIp, argument, limits); }}};
        const std::map<std::string, std::function<void()>> told{
            {"moves", [&] { addClient(kMac, argument); }},
            {"ip", [&] { instance_->updateClientIp(station, argument); }},
            {"wait", [&] { clock_.advanceSeconds(std::stoi(argument)); }},
            {"update", [&] { instance_->makeClientsPeriodicUpdate(); }},
            {"gone", [&] { instance_->disconnectClient(station, CommandInfo()); }},
            {"accept", [&] { answer(LIBRAD_RADIUS_CODE_ACCESS_ACCEPT); }},
            {"reject", [&] { answer(LIBRAD_RADIUS_CODE_ACCESS_REJECT); }},
            {"here", [&] { second({kMac}, argument.empty() ? 0 : std::stoull(argument)); }},
            {"away", [&] { second({}, 0); }},
            {"silence", [&] {
                 clock_.advanceSeconds(std::stoi(argument));
                 instance_->checkClientsWithoutStatistics();
             }}};
        if (asked.count(action) != 0) {
            return "=" + std::to_string(asked.at(action)());
        }
        told.at(action)();
        return "";
    }
    bool addClient(const std::string& mac, const std::string& ip) {
        return instance_->addClient(MacAddr(mac), ip, 1500);
    }
    // A statistics answer with these stations, a second after the last one.
    void second(const std::vector<const char*>& macs, unsigned long long bytes) {
        clock_.advanceSeconds(1);
        for (const char* const mac : macs) {
            ClientStatisticInfo record("wlan0-va1", MacAddr(mac), bytes, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                       0);
            instance_->updateClientStatistic(record);
        }
        instance_->checkClientsExpired();
    }

    // How many logins the server is asked for in so many seconds; a repeated request is no new one.
    int requestsIn(int seconds) {
        int requests = 0;
        for (int i = 0; i < seconds; ++i) {
            second({kMac}, 0);
            instance_->makeClientsPeriodicUpdate();
            librad_eloop_step();
            while (auto packet = server_.receive()) {
                if (packet->bytes[0] == LIBRAD_RADIUS_CODE_ACCESS_REQUEST &&
                    packet->authenticator() != asked_.authenticator()) {
                    ++requests;
                    asked_ = std::move(*packet);
                }
            }
        }
        return requests;
    }
    void answer(std::uint8_t code) {
        server_.answer(asked_, code, rad::Mac::valid, "1a0c 00007ed9 1f06 00000001");
    }

    rad::Peer server_;
    rad::Packet asked_{rad::ByteString(20), nullptr};  // the login that came last
    std::shared_ptr<testing::RecordingInformator> heard_ =
        std::make_shared<testing::RecordingInformator>();
};

MacAddr numbered(std::size_t n) {
    return MacAddr(MacAddr::Bytes{6, 0, 0, static_cast<std::uint8_t>(n >> 16),
                                  static_cast<std::uint8_t>(n >> 8), static_cast<std::uint8_t>(n)});
}

std::string loginAndGuest(const std::string& guest) {
    return R"({"access-type": "forbid", "name": "login", "auth-scenario": "guest"},
              {"access-type": "allow", "name": "guest" )" +
           guest + "}";
}

TEST_F(PortalInstanceTest, LeadsStationsAlongTheirRoads) {
    const std::string open = R"({"access-type": "allow", "name": "open"})";
    const std::string over =
        R"({"access-type": "forbid", "name": "over", "auth-scenario": "guest"})";
    const struct {
        const char* mode;
        int ageTimeout;
        std::string scenarios;
        std::string road;
    } rows[] = {
        // It can log in once it is connected.
        {"local", 300, loginAndGuest(""),
         "add=1 login:x=3 here(deauthenticated,connected) login:=2 login:x=0(authenticated) "
         "update(update)"},
        // An authorised one stays until it has been away for longer than its time.
        {"local", 300, loginAndGuest(R"(, "away-timeout": 60)"),
         "add=1 here(deauthenticated,connected) update login:x=0(authenticated) "
         "away(disconnected/4) here(authenticated) wait:58 away(disconnected/4) away "
         "away(removed/3) known=0"},
        // Without such a time the instance's counts; without either it stays.
        {"local", 300, R"({"access-type": "allow", "name": "open", "max-session-time": 900})",
         "add=1 wait:299 away away(removed/3)"},
        {"local", 0, open, "add=1 wait:100000 away known=1"},
        // One that leaves before its login is forgotten.
        {"local", 300, loginAndGuest(""),
         "add=1 here(deauthenticated,connected) away(removed/4) known=0"},
        // It moves on beyond its traffic limit, which counts from its login.
        {"local", 300,
         loginAndGuest(R"(, "traffic-limit": 1000, "deauth-scenario": "over")") + "," + over,
         "add=1 here:5000(deauthenticated,connected) login:x=0(authenticated) here:5000 here:6000 "
         "here:6001(deauthenticated/3) login:x=0(authenticated)"},
        // While monitord is silent time goes on, and nobody leaves but those who had left.
        {"local", 10, loginAndGuest(R"(, "expire-time": 60)"),
         "add=1 here(deauthenticated,connected) login:x=0(authenticated) silence:60 "
         "silence:1(removed/3)"},
        {"local", 10, loginAndGuest(""),
         "add=1 here(deauthenticated,connected) login:x=0(authenticated) silence:100 "
         "away(disconnected/4) silence:9 silence:1(removed/3)"},
        // It goes when there is no scenario to move on to.
        {"local", 300, loginAndGuest(R"(, "max-session-time": 10)"),
         "add=1 here(deauthenticated,connected) login:x=0(authenticated) wait:9 here "
         "here(removed/3) known=0"},
        // No station without an address; a second report changes nothing, news of its IP do.
        {"local", 300, loginAndGuest(""),
         "add:00:00:00:00:00:00=0 add:garbage=0 add=1 moves:10.1.0.2 "
         "here(deauthenticated,connected) login:x=0(authenticated) ip:10.1.0.2 login:x=3"},
        // The web portal decides where it is in charge, and only there.
        {"portal", 300, loginAndGuest(""),
         "add=1 portal:guest=0 here(deauthenticated,connected) login:x=2 portal:unknown=0 "
         "portal:guest=1(authenticated,reset)"},
        {"local", 300, loginAndGuest(""), "add=1 here(deauthenticated,connected) portal:guest=0"},
        // The RADIUS server decides; an answer that comes after the station has gone changes
        // nothing.
        {"radius", 300, loginAndGuest(""),
         "add=1 here(deauthenticated,connected) login:x=1 asks:1=1 accept(authenticated)"},
        {"radius", 300, loginAndGuest(""),
         "add=1 here(deauthenticated,connected) login:x=1 asks:1=1 gone(removed) add=1 "
         "here(deauthenticated,connected) reject accept known=1"},
        // Whom it accepts is whom it was asked about, and stays so until another one is accepted.
        {"radius", 300, loginAndGuest(""),
         "add=1 here(deauthenticated,connected) login:x=1 asks:1=1 other:=2 bob=0 "
         "accept(authenticated) bob=1 other:=2 bob=1 other:x=1 bob=1 asks:1=1(update) "
         "accept bob=0"},
        {"local", 300, loginAndGuest(""),
         "add=1 here(deauthenticated,connected) login:x=0(authenticated) other:=2 bob=1 "
         "other:x=0 bob=0"},
        // It is asked again for a station that waits, until it answers.
        {"portal-mac-auth", 300, loginAndGuest(""),
         "add=1 here(drop,connected) asks:1=1 asks:120=2 accept(authenticated) asks:120=0(update)"},
    };
    for (const auto& row : rows) {
        build(row.mode, row.ageTimeout, row.scenarios);
        EXPECT_EQ(play(row.road), row.road);
    }
}

TEST_F(PortalInstanceTest, ChangesNothingOfAStationThatIsGone) {
    build("local", 300, loginAndGuest(""));
    play("add here away");
    const std::shared_ptr<Client> gone = heard_->lastClient;
    ASSERT_NE(gone, nullptr);
    EXPECT_FALSE(instance_->set_auth_scenario_client(gone));
    EXPECT_FALSE(instance_->set_deauth_scenario_client(gone));
    EXPECT_FALSE(instance_->setMacAuthSuccessScenario(gone));
    EXPECT_FALSE(instance_->setMacAuthFailureScenario(gone));
    instance_->delClient(gone, CommandInfo(END_REASON_RADIUS_REQUEST));
    EXPECT_THAT(heard_->take(), IsEmpty());
    EXPECT_EQ(gone->get_current_scenario()->getScenarioName(), "login");
}

TEST_F(PortalInstanceTest, BoundsTheStationsThatNeverConnected) {
    build("local", 300, loginAndGuest(""));
    play("add here");
    for (std::size_t n = 0; n < Stations::kMaxNeverConnected; ++n) {
        instance_->addClient(numbered(n), "", 1500);
    }
    EXPECT_THAT(heard_->take(), IsEmpty());
    instance_->addClient(numbered(Stations::kMaxNeverConnected), "", 1500);
    EXPECT_THAT(heard_->take(), ElementsAre("removed 06:00:00:00:00:00 4"));
    EXPECT_EQ(play("known=1"), "known=1") << "it was connected";
}

// All have access, so all of them stay when they leave.
TEST_F(PortalInstanceTest, BoundsItsStationsWhateverTheirState) {
    build("local", 0, R"({"access-type": "allow", "name": "open"})");
    const auto admit = [&](std::size_t first, std::size_t last) {
        for (std::size_t n = first; n < last; ++n) {
            const MacAddr mac = numbered(n);
            instance_->addClient(mac, "", 1500);
            ClientStatisticInfo record("wlan0-va1", mac, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
            instance_->updateClientStatistic(record);
        }
        instance_->checkClientsExpired();
    };
    admit(0, 1);
    for (std::size_t n = 1; n < Stations::kMaxStations; n += Stations::kMaxNeverConnected) {
        admit(n, std::min(n + Stations::kMaxNeverConnected, Stations::kMaxStations));
    }
    addClient(kMac, kIp);  // absent as well, but not for as long
    EXPECT_EQ(heard_->take().back(), "removed " + numbered(0).to_string() + " 4");
    EXPECT_EQ(play("known"), "known=1");
}

TEST_F(PortalInstanceTest, GivesAnAddressToWhoeverHasItNow) {
    build("local", 300, loginAndGuest(""));
    const char* const other = "02:00:00:00:00:02";
    const auto addressOf = [&](const char* mac) { return dump(mac)->getCharValue("ip"); };
    addClient(kMac, kIp);
    EXPECT_TRUE(addClient(other, kIp));
    EXPECT_EQ(addressOf(kMac), "");
    EXPECT_EQ(addressOf(other), kIp);
    play(std::string("ip:") + kIp);
    EXPECT_EQ(addressOf(kMac), kIp);
    EXPECT_EQ(addressOf(other), "");
    for (const char* const none : {"0.0.0.0", ""}) {
        play(std::string("ip:") + none);
        EXPECT_EQ(addressOf(kMac), kIp) << "it tells nothing";
        EXPECT_TRUE(addClient("02:00:00:00:00:03", none));
        EXPECT_EQ(addressOf("02:00:00:00:00:03"), "");
    }
}

TEST_F(PortalInstanceTest, DisconnectsTheStationThatEveryKeyMeans) {
    const char* const phone = "02:00:00:00:00:0a";
    const char* const laptop = "02:00:00:00:00:0b";
    const struct {
        std::string mac;
        bool withSession;  // the laptop's
        std::string name;
        std::string gone;
    } cases[] = {
        {laptop, false, "", laptop},
        {"", false, "bob", phone},
        {"", true, "", laptop},
        {laptop, true, "bob", laptop},
        {laptop, false, "bob", laptop},
        {laptop, false, "alice", ""},
        {phone, true, "", ""},
        {"", true, "alice", ""},
        {"02:00:00:00:00:0c", false, "bob", ""},
        {"", false, "alice", ""},
    };
    for (const auto& given : cases) {
        build("local", 300, loginAndGuest(""));
        addClient(phone, "10.1.0.10");
        addClient(laptop, "10.1.0.11");
        second({phone, laptop}, 1);
        login("bob", "10.1.0.10", "x");
        login("bob", "10.1.0.11", "x");
        const std::string session = dump(laptop)->getCharValue("session-id");
        ClientIdentity identity(MacAddr(given.mac), "", given.withSession ? session : "",
                                given.name);
        EXPECT_EQ(instance_->disconnectClient(identity, CommandInfo()), !given.gone.empty());
        for (const char* const mac : {phone, laptop}) {
            ClientIdentity byMac(MacAddr(mac), "", "", "");
            EXPECT_EQ(instance_->isYourClient(byMac), mac != given.gone) << given.gone;
        }
        ClientIdentity bySession({}, "", session, "");
        EXPECT_EQ(instance_->isClientConnected(bySession), laptop != given.gone);
        ClientIdentity noSession({}, "", "00000001-00000001", "bob");
        EXPECT_FALSE(instance_->isClientConnected(noSession));
    }
}

struct Witness final : public Informator {
    MOCK_METHOD(bool, informClientAuthenticated, (std::shared_ptr<Client>, ClientStatisticInfo&),
                (override));
};

TEST(Informators, AreToldInTheirOrder) {
    const ::testing::InSequence asTheyAreMadeHere;
    const auto next = [] {
        auto witness = std::make_shared<Witness>();
        EXPECT_CALL(*witness, informClientAuthenticated);
        return witness;
    };
    const auto accounting = next();
    const auto shaper = next();
    SharedInformators shared;
    shared.redirector = next();
    shared.traps = next();
    shared.wifiAuth = next();
    Informators informators(accounting, shaper, shared);
    informators.add(next());
    ClientStatisticInfo statistics;
    informators.informatorsHandle(nullptr, statistics, &Informator::informClientAuthenticated);
}

}  // namespace
}  // namespace vesta
