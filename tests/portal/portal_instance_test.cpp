// A station's road through one instance, told by what the informators hear.

#include "portal/portal_instance.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "client/client.h"
#include "client/deauth_tool.h"
#include "core/json_entry.h"
#include "core/singleton.h"
#include "portal/config_dialect.h"
#include "portal/portal_instance_factory.h"
#include "scenario/access_scenario_constraints.h"
#include "scenario/scenario.h"
#include "support/fake_clock.h"
#include "support/radius_instance.h"
#include "support/recording_informator.h"

namespace vesta {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

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

class PortalInstanceTest : public ::testing::Test {
protected:
    PortalInstanceTest() {
        // No tool is run: its thread reads the environment, which the next test changes.
        Singleton<DeauthTool>::getInstance().stop();
    }

    void build(const std::string& mode, int ageTimeout, const std::string& scenarios) {
        const auto vap = std::make_shared<JsonEntry>(
            R"({"ssid": "Guest", "captive-portal": {"enabled": true, "default-white-list": "",
                "acct-enable": false, "verification-mode": ")" +
            mode + R"(", "age-timeout": )" + std::to_string(ageTimeout) + R"(, "scenarios": [)" +
            scenarios + "]}}");
        const auto extractor = std::make_shared<ConfigInstanceMessageExtractor>(
            std::make_shared<testing::SilentStore>(), "hall");
        instance_ = PortalInstanceFactory::buildPortalInstance("wlan0-va1", "eth0", vap, extractor);
        // Whatever another one does, the recording one is told.
        instance_->addClientsEventsInformator(std::make_shared<ThrowingInformator>());
        instance_->addClientsEventsInformator(heard_);
    }

    void buildUsual(const std::string& mode = "local", const std::string& guest = "") {
        build(mode, 300,
              R"({"access-type": "forbid", "name": "login", "redirect-url": "http://p/",
                  "virtual-portal-name": "main", "auth-scenario": "guest"},
                 {"access-type": "allow", "name": "guest" )" +
                  guest + "}");
    }

    // One statistics answer that holds these stations, and the checks that follow it.
    void round(const std::vector<const char*>& macs, unsigned long long bytes = 0) {
        clock_.advanceSeconds(1);
        for (const char* mac : macs) {
            ClientStatisticInfo record("wlan0-va1", mac, bytes, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
            instance_->updateClientStatistic(record);
        }
        instance_->checkClientsExpired();
    }

    // The station is here and connected, and of that no more is told.
    void arrive() {
        EXPECT_TRUE(instance_->addClient(kMac, kIp, 1500));
        round({kMac});
        heard_->take();
    }

    int login(const std::string& password = "secret") {
        return instance_->authenticateClient(byIp_, "bob", password);
    }

    std::string state(const char* mac = kMac) {
        ClientIdentity identity(mac, "", "", "");
        return instance_->isYourClient(identity) ? "here" : "gone";
    }

    testing::FakeClock clock_;
    std::shared_ptr<PortalInstance> instance_;
    std::shared_ptr<testing::RecordingInformator> heard_ =
        std::make_shared<testing::RecordingInformator>();
    ClientIdentity byIp_{"", kIp, "", ""};
};

TEST_F(PortalInstanceTest, WalksALocalLoginToItsAccess) {
    buildUsual();
    EXPECT_TRUE(instance_->addClient(kMac, kIp, 1500));
    EXPECT_THAT(heard_->take(), IsEmpty());
    EXPECT_EQ(login(), CLIENT_NOT_FOUND);  // not connected yet
    round({kMac});
    EXPECT_THAT(heard_->take(),
                ElementsAre("deauthenticated 02:00:00:00:00:01", "connected 02:00:00:00:00:01"));
    EXPECT_EQ(login(""), NOT_AUTHENTICATED);
    EXPECT_THAT(heard_->take(), IsEmpty());
    EXPECT_EQ(login(), AUTHENTICATED);
    EXPECT_THAT(heard_->take(), ElementsAre("authenticated 02:00:00:00:00:01"));
    instance_->makeClientsPeriodicUpdate();
    EXPECT_THAT(heard_->take(), ElementsAre("update 02:00:00:00:00:01"));

    ClientIdentity byLogin("", "", "", "bob");
    EXPECT_TRUE(instance_->isClientConnected(byLogin));
}

TEST_F(PortalInstanceTest, KeepsAnAuthorisedStationUntilItAgesOut) {
    buildUsual("local", R"(, "away-timeout": 60)");
    arrive();
    login();
    heard_->take();
    round({});
    EXPECT_THAT(heard_->take(), ElementsAre("disconnected 02:00:00:00:00:01 4"));
    round({kMac});
    EXPECT_THAT(heard_->take(), ElementsAre("authenticated 02:00:00:00:00:01"));

    clock_.advanceSeconds(58);
    round({});  // 59 s away
    EXPECT_THAT(heard_->take(), ElementsAre("disconnected 02:00:00:00:00:01 4"));
    round({});  // exactly 60 s
    EXPECT_THAT(heard_->take(), IsEmpty());
    round({});
    EXPECT_THAT(heard_->take(), ElementsAre("removed 02:00:00:00:00:01 3"));
    EXPECT_EQ(state(), "gone");
}

TEST_F(PortalInstanceTest, AgesOutByItsOwnTimeoutAndNeverWithoutOne) {
    for (const int timeout : {300, 0}) {
        build("local", timeout, R"({"access-type": "allow", "name": "open"})");
        instance_->addClient(kMac, kIp, 1500);
        clock_.advanceSeconds(100000);
        round({});
        EXPECT_EQ(state(), timeout != 0 ? "gone" : "here") << timeout;
    }
}

TEST_F(PortalInstanceTest, MovesAStationOnWhenItsTrafficIsUsedUp) {
    build("local", 300,
          R"({"access-type": "forbid", "name": "login", "auth-scenario": "guest"},
             {"access-type": "allow", "name": "guest", "traffic-limit": 1000,
              "deauth-scenario": "over"},
             {"access-type": "forbid", "name": "over", "auth-scenario": "guest"})");
    instance_->addClient(kMac, kIp, 1500);
    round({kMac}, 5000);
    login();
    round({kMac}, 5000);  // latches
    round({kMac}, 6000);  // exactly the limit
    heard_->take();
    round({kMac}, 6001);
    EXPECT_THAT(heard_->take(), ElementsAre("deauthenticated 02:00:00:00:00:01 3"));
    EXPECT_EQ(state(), "here");
    EXPECT_EQ(login(), AUTHENTICATED);
}

TEST_F(PortalInstanceTest, RemovesAStationWhoseScenariosRanOut) {
    buildUsual("local", R"(, "max-session-time": 10)");
    arrive();
    login();
    heard_->take();
    clock_.advanceSeconds(9);
    round({kMac});
    EXPECT_EQ(state(), "here");
    round({kMac});
    EXPECT_THAT(heard_->take(), ElementsAre("removed 02:00:00:00:00:01 3"));
    EXPECT_EQ(state(), "gone");
}

TEST_F(PortalInstanceTest, RefusesTheZeroAddressAndKnowsAStationTwice) {
    buildUsual();
    EXPECT_FALSE(instance_->addClient("00:00:00:00:00:00", "0.0.0.0", 0));
    EXPECT_FALSE(instance_->addClient("garbage", "10.1.0.9", 0));
    EXPECT_TRUE(instance_->addClient(kMac, kIp, 1500));
    EXPECT_TRUE(instance_->addClient(kMac, "10.1.0.2", 1500));
    round({kMac});
    EXPECT_TRUE(instance_->isClientConnected(byIp_));  // the second report changed nothing
    ClientIdentity identity(kMac, "", "", "");
    instance_->updateClientIp(identity, "10.1.0.2");
    EXPECT_FALSE(instance_->isClientConnected(byIp_));
}

// Keeps the client that it was told of, as a RADIUS request does.
class Keeper final : public Informator {
public:
    bool informClientConnected(std::shared_ptr<Client> client, ClientStatisticInfo&) override {
        kept = client;
        return true;
    }
    std::shared_ptr<Client> kept;
};

TEST_F(PortalInstanceTest, ForgetsAStationThatLeavesBeforeItsLoginForGood) {
    buildUsual();
    const auto keeper = std::make_shared<Keeper>();
    instance_->addClientsEventsInformator(keeper);
    arrive();
    round({});
    EXPECT_THAT(heard_->take(), ElementsAre("removed 02:00:00:00:00:01 4"));
    ASSERT_NE(keeper->kept, nullptr);
    EXPECT_FALSE(instance_->set_auth_scenario_client(keeper->kept));
    EXPECT_FALSE(instance_->set_deauth_scenario_client(keeper->kept));
    EXPECT_FALSE(instance_->setMacAuthSuccessScenario(keeper->kept));
    EXPECT_FALSE(instance_->setMacAuthFailureScenario(keeper->kept));
    instance_->delClient(keeper->kept, CommandInfo(END_REASON_RADIUS_REQUEST));
    EXPECT_THAT(heard_->take(), IsEmpty());
    EXPECT_EQ(keeper->kept->get_current_scenario()->getScenarioName(), "login");
}

TEST_F(PortalInstanceTest, LetsThePortalSetScenariosWhereItIsManaged) {
    AccessScenarioConstraints limits;
    for (const char* mode : {"portal", "local"}) {
        const bool managed = std::string(mode) == "portal";
        buildUsual(mode);
        instance_->addClient(kMac, kIp, 1500);
        EXPECT_FALSE(instance_->setClientScenario(byIp_, "guest", limits));  // not connected yet
        round({kMac});
        heard_->take();
        if (managed) {
            EXPECT_EQ(login(), NOT_AUTHENTICATED);
        }
        EXPECT_FALSE(instance_->setClientScenario(byIp_, "unknown", limits));
        EXPECT_THAT(heard_->take(), IsEmpty());
        EXPECT_EQ(instance_->setClientScenario(byIp_, "guest", limits), managed);
        if (managed) {
            EXPECT_THAT(heard_->take(),
                        ElementsAre("authenticated 02:00:00:00:00:01", "reset 02:00:00:00:00:01"));
        } else {
            EXPECT_THAT(heard_->take(), IsEmpty());
        }
    }
}

TEST_F(PortalInstanceTest, BoundsTheStationsThatNeverConnected) {
    buildUsual();
    arrive();
    const auto mac = [](unsigned n) {
        char text[18];
        std::snprintf(text, sizeof text, "06:00:00:%02x:%02x:%02x", n >> 16 & 255U, n >> 8 & 255U,
                      n & 255U);
        return std::string(text);
    };
    for (unsigned n = 0; n < Stations::kMaxNeverConnected; ++n) {
        instance_->addClient(mac(n), "", 1500);
    }
    heard_->take();
    instance_->addClient(mac(1U << 20), "", 1500);
    EXPECT_THAT(heard_->take(), ElementsAre("removed 06:00:00:00:00:00 4"));
    EXPECT_EQ(state(), "here");  // it was connected
    EXPECT_EQ(state(mac(1).c_str()), "here");
}

}  // namespace
}  // namespace vesta
