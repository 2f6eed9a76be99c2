#include <gtest/gtest.h>

#include "client/client.h"
#include "messages/ipc_dump_factories.h"
#include "scenario/manageable_scenario_sequence.h"
#include "support/fake_clock.h"
#include "support/fake_portal_instance.h"
#include "support/keyed_scenarios.h"

namespace vesta {
namespace {

using testing::FakePortalInstance;
using testing::sequence;

std::string yesNo(bool value) {
    return value ? "yes" : "no";
}

// "operation=value" in the order of the calls.
class CallList final : public ClientMessageFactory {
public:
    void createMessage() override { calls = "new"; }
    std::shared_ptr<MessageEntry> getResultMessage() override {
        return std::make_shared<JsonEntry>("{}");
    }
    std::shared_ptr<ScenarioMessageFactory> getScenarioMessageFactory() override {
        return withScenarios ? std::make_shared<IPCDumpScenarioMessageFactory>() : nullptr;
    }
    bool filter(const Client&) override { return wanted; }
    void addMacAddress(const std::string& v) override { add("mac", v); }
    void addIpAddress(const std::string& v) override { add("ip", v); }
    void addConnectionStatus(bool v) override { add("connected", yesNo(v)); }
    void addAccessType(ACCESS_TYPE v) override { add("access", std::to_string(v)); }
    void addSessionId(const std::string& v) override { add("session", v); }
    void addLogin(const std::string& v) override { add("login", v); }
    void addPassword(const std::string& v) override { add("password", v); }
    void addRedirectionUrl(const std::string& v) override { add("url", v); }
    void addProxyMode(const std::string& v) override { add("proxy", v); }
    void addVirtualPortalName(const std::string& v) override { add("portal", v); }
    void addInterface(const std::string& v) override { add("interface", v); }
    void addSsid(const std::string& v) override { add("ssid", v); }
    void addRadiusDomain(const std::string& v) override { add("domain", v); }
    void addApLocation(const std::string& v) override { add("location", v); }
    void addVapMac(const std::string& v) override { add("vap", v); }
    void addSimultaneousUse(int v) override { add("use", std::to_string(v)); }
    void addCntScenarios(unsigned int v) override { add("count", std::to_string(v)); }
    void addCurrentScenarioId(unsigned int v) override { add("id", std::to_string(v)); }
    void addCurrentScenarioName(const std::string& v) override { add("name", v); }
    void addCurrentTimeLimit(long v) override { add("time", std::to_string(v)); }
    void addSessionTime(long v) override { add("spent", std::to_string(v)); }
    void addCurrentTrafficLimit(long long v) override { add("traffic", std::to_string(v)); }
    void addCurrentState(const std::string& v) override { add("state", v); }
    void addEndReason(const std::string& v) override { add("reason", v); }
    void addEndExpireValue(const std::string& v) override { add("value", v); }
    void addScenarios(std::vector<std::shared_ptr<MessageEntry>>& v) override {
        add("scenarios", std::to_string(v.size()));
    }

    std::string calls;
    bool wanted = true;
    bool withScenarios = true;

private:
    void add(const char* name, const std::string& value) { calls += ' ' + (name + ('=' + value)); }
};

class ClientDump : public ::testing::Test {
protected:
    ClientDump() {
        client_.setLogin("anna");
        client_.setPassword("secret");
    }

    testing::FakeClock clock_;
    FakePortalInstance owner_;
    Client client_{
        sequence<ManageableScenarioSequence>(
            {R"({"type": "forbid", "id": 0, "name": "login", "url": "http://p/",
                            "portal": "", "auth": "guest"})",
             R"({"type": "allow", "id": 1, "name": "guest", "time": 60, "traffic": 500})",
             R"({"type": "drop", "id": 2, "name": "over", "good": "", "bad": ""})"}),
        "0a:1b:2c:3d:4e:5f", "10.0.0.1", 1500, owner_};
    std::shared_ptr<CallList> factory_ = std::make_shared<CallList>();
};

TEST_F(ClientDump, ShowsWhereAStationInFrontOfItsLoginIsSent) {
    EXPECT_TRUE(client_.dumpToMessage(factory_));
    EXPECT_EQ(factory_->calls,
              "new mac=0a:1b:2c:3d:4e:5f ip=10.0.0.1 connected=no access=1 session= login=anna "
              "interface=wlan0-va1 ssid=Guest domain=hall.example location=hall "
              "vap=02:00:00:00:00:01 use=0 count=3 id=0 name=login url=http://p/ "
              "proxy=absolute-path portal=shared time=0 spent=0 traffic=0 state=not-auth "
              "scenarios=1");
}

TEST_F(ClientDump, PrefersTheClientsOwnUrl) {
    client_.setRedirectUrl("http://own/else", 10);
    client_.dumpToMessage(factory_);
    EXPECT_NE(factory_->calls.find(" url=http://own proxy="), std::string::npos) << factory_->calls;
}

TEST_F(ClientDump, ShowsNoRedirectionWhereAccessIsOpen) {
    client_.setCurrentScenario("guest");
    ClientStatisticInfo record("", "", 5, 5, 0, 0, 0, 0, 0, 0, 0, 42, 0);
    client_.updateStatistic(record);
    record.rxBytes = 8;
    client_.updateStatistic(record);
    client_.updateConnectStatus();
    client_.dumpToMessage(factory_);
    EXPECT_EQ(factory_->calls.substr(factory_->calls.find(" name=")),
              " name=guest time=42 spent=0 traffic=3 state=stateguest scenarios=1");
    EXPECT_NE(factory_->calls.find(" connected=yes access=0 "), std::string::npos);
}

TEST_F(ClientDump, ShowsWhyTheSessionEndedOnTheLastScenario) {
    client_.setCurrentScenario("guest");
    ClientStatisticInfo record("", "", 0, 0, 0, 0, 0, 0, 0, 0, 0, 61, 0);
    client_.updateStatistic(record);
    EXPECT_TRUE(client_.checkScenarioExpire());
    EXPECT_TRUE(client_.set_deauth_scenario_client());
    client_.dumpToMessage(factory_);
    const std::string expected = " reason=time-over value=60 state=session-end scenarios=1";
    EXPECT_EQ(factory_->calls.substr(factory_->calls.find(" reason=")), expected);
}

TEST_F(ClientDump, WritesScenariosAloneInShortForm) {
    EXPECT_TRUE(client_.dumpScenarioToMessage(factory_));
    EXPECT_EQ(factory_->calls,
              "new mac=0a:1b:2c:3d:4e:5f ip=10.0.0.1 connected=no access=1 ssid=Guest id=0 "
              "scenarios=3");
}

TEST_F(ClientDump, KeepsToWhatTheFactoryWants) {
    factory_->withScenarios = false;
    EXPECT_TRUE(client_.dumpToMessage(factory_));
    EXPECT_TRUE(client_.dumpScenarioToMessage(factory_));
    EXPECT_EQ(factory_->calls.find("scenarios"), std::string::npos);
    factory_->calls.clear();
    factory_->wanted = false;
    EXPECT_FALSE(client_.dumpToMessage(factory_));
    EXPECT_FALSE(client_.dumpScenarioToMessage(factory_));
    EXPECT_EQ(factory_->calls, "");
}

}  // namespace
}  // namespace vesta
