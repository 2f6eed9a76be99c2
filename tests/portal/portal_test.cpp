// The portal between the configuration, the redirector module and its instances.

#include "portal/portal.h"

#include <gmock/gmock.h>

#include <thread>

#include "apsim/event_log.h"
#include "apsim/module_server.h"
#include "kernel/kernel_white_list_store.h"
#include "ostrel/ipc.h"
#include "station/command_info.h"
#include "support/collected.h"
#include "support/portal_document.h"
#include "support/radius_instance.h"
#include "support/runtime_directory.h"

namespace vesta {
namespace {

using testing::document;
using testing::vapText;

const char* const kMac = "02:00:00:00:00:01";

class PortalTest : public ::testing::Test {
protected:
    PortalTest() {
        build(vapText("wlan0-va1", "Guest") + "," + vapText("wlan1-va1", "Staff", "portal"));
    }

    void build(const std::string& interfaces) {
        portal_.reset();
        portal_ = std::make_shared<Portal>(ipc_, document(interfaces), "", "");
    }

    // One statistics answer with these (interface, MAC) records.
    void round(const std::vector<std::pair<const char*, const char*>>& stations) {
        clock_.advanceSeconds(1);
        std::vector<ClientStatisticInfo> records;
        for (const auto& [interface, mac] : stations) {
            records.emplace_back(interface, MacAddr(mac), 1ULL, 1ULL, 1UL, 1UL, 0UL, 0UL, 0UL, 0UL,
                                 0UL, 1L, 0L);
        }
        portal_->responseCallback(records);
    }

    std::string dumped(const char* mac, const char* key) {
        const auto message =
            portal_->dumpClientToMessage(ClientIdentity(MacAddr(mac), "", "", ""),
                                         std::make_shared<IPCDumpClientMessageFactory>());
        return message ? message->getCharValue(key) : "none";
    }

    testing::NoDeauthTool noTool_;
    testing::RuntimeDirectory directory_;
    testing::FakeClock clock_;
    apsim::EventLog events_;
    apsim::ModuleServer modules_{events_};
    std::shared_ptr<IpcInterface> ipc_ =
        std::make_shared<IpcInterface>(IPC_MODULE_VESTAD, false, 50);
    std::shared_ptr<Portal> portal_;
};

TEST_F(PortalTest, RoutesStationsAndTheirStatisticsByInterface) {
    EXPECT_FALSE(portal_->addClient(MacAddr(kMac), "10.1.0.1", 1500, "wlan9-va9"));
    EXPECT_TRUE(portal_->addClient(MacAddr(kMac), "10.1.0.1", 1500, "wlan0-va1"));
    EXPECT_TRUE(portal_->addClient(MacAddr("02:00:00:00:00:02"), "10.2.0.1", 1500, "wlan1-va1"));
    EXPECT_TRUE(portal_->addClient(MacAddr("02:00:00:00:00:03"), "10.1.0.3", 1500, "wlan0-va1"));
    ClientIdentity byIp({}, "10.2.0.1", "", "");
    EXPECT_EQ(portal_->authenticateClient(byIp, "bob", "x"), CLIENT_NOT_FOUND);  // not connected
    round({{"wlan0-va1", kMac},
           {"wlan9-va9", kMac},
           {"wlan1-va1", "02:00:00:00:00:02"},
           {"wlan0-va1", "02:00:00:00:00:03"}});
    EXPECT_TRUE(events_.waitFor(apsim::Party::wifiAuth, "cp-auth-result", {"wlan0-va1", kMac},
                                apsim::Milliseconds(10000)));
    EXPECT_EQ(dumped(kMac, "status"), "connected");
    EXPECT_EQ(dumped("02:00:00:00:00:02", "status"), "connected");
    EXPECT_EQ(dumped("02:00:00:00:00:03", "status"), "connected");
    EXPECT_EQ(dumped("02:00:00:00:00:02", "ssid"), "Staff");
    EXPECT_EQ(portal_->authenticateClient(byIp, "bob", "x"), NOT_AUTHENTICATED);
    EXPECT_EQ(dumped("02:00:00:00:00:02", "login"), "bob");

    EXPECT_TRUE(portal_->addClient(MacAddr(kMac), "10.1.0.77", 1500, "wlan0-va1"));
    EXPECT_EQ(dumped(kMac, "ip"), "10.1.0.77");
}

// Time stands still, so the second question can't be the regular one.
TEST_F(PortalTest, AsksAtOnceForTheFirstRecordOfAStation) {
    struct Asked : InformationCollector {
        void getClientsInformation(InformationCaller* caller) override { callers.add(caller); }
        testing::Collected<InformationCaller*> callers;
    };
    const auto asked = std::make_shared<Asked>();
    portal_->setInformationCollector(asked);
    std::thread loop([this] { portal_->start(); });
    asked->callers.take(1);
    portal_->addClient(MacAddr(kMac), "10.1.0.1", 1500, "wlan0-va1");
    EXPECT_EQ(asked->callers.take(1).size(), 1U);
    portal_->stop();
    clock_.advanceSeconds(2);
    loop.join();
}

TEST_F(PortalTest, DisconnectsWhereItIsToldTo) {
    build(vapText("wlan0-va1", "Guest") + "," + vapText("wlan1-va1", "Guest") + "," +
          vapText("wlan2-va1", "Staff"));
    const CommandInfo command(END_REASON_APBD_REQUEST);
    ClientIdentity identity(MacAddr(kMac), "", "", "");
    for (const char* interface : {"wlan0-va1", "wlan1-va1"}) {
        portal_->addClient(MacAddr(kMac), "10.1.0.1", 1500, interface);
    }
    EXPECT_FALSE(portal_->disconnectClientFromInterface("wlan9-va9", identity, command));
    EXPECT_FALSE(portal_->disconnectClientFromInterface("wlan2-va1", identity, command));
    EXPECT_FALSE(portal_->disconnectClientFrom("guest", identity, command));  // exact case
    EXPECT_TRUE(portal_->disconnectClientFrom("Guest", identity, command));   // from every radio
    EXPECT_FALSE(portal_->disconnectClient(identity, command));
}

TEST_F(PortalTest, ServesOnlyEnabledVapsWithAPortal) {
    build(R"({"name": "radio0", "common": {"type": "radio"}},
             {"name": "off", "common": {"type": "vap", "enabled": false}},
             {"name": "eth0", "common": {"type": "wired", "enabled": true}},
             {"name": "plain", "common": {"type": "vap", "enabled": true}, "vap": {"ssid": "x"}},
             {"name": "nothing"},)" +
          vapText("wlan0-va1", "Guest"));
    for (const char* name : {"radio0", "off", "eth0", "plain", "nothing"}) {
        EXPECT_FALSE(portal_->addClient(MacAddr(kMac), "10.1.0.1", 1500, name)) << name;
    }
    EXPECT_TRUE(portal_->addClient(MacAddr(kMac), "10.1.0.1", 1500, "wlan0-va1"));
}

TEST_F(PortalTest, TellsTheProxysAddressAndLoadsTheWhiteLists) {
    // The last request of all.
    EXPECT_TRUE(
        events_.waitFor(apsim::Party::redirector, "add domains", {}, apsim::Milliseconds(10000)));
    EXPECT_EQ(portal_->getProxyUrl(), "http://192.168.1.1:8888/");
    const auto lists = modules_.redirector().whiteLists();
    ASSERT_EQ(lists.size(), 1U);  // the nameless and the empty one are dropped
    EXPECT_EQ(lists.begin()->second.domains, std::vector<std::string>{"example.org"});
}

TEST(ConfigInstanceMessageExtractor, PairsAScenariosListWithItsHash) {
    const auto store = std::make_shared<testing::SilentStore>();
    store->addWhiteList(std::make_shared<WhiteAddressesList>("free", "10.0.0.0/8"));
    const auto scenarios = ConfigInstanceMessageExtractor(store, "hall", "").getScenarioExtractor();
    for (const std::string name : {"free", "none", ""}) {
        const auto scenario = std::make_shared<JsonEntry>(R"({"white-list": ")" + name + "\"}");
        EXPECT_EQ(scenarios->extractWhiteListId(scenario),
                  std::make_pair(name, store->getWhiteListHash(name)));
    }
    EXPECT_NE(store->getWhiteListHash("free"), "");
}

TEST_F(PortalTest, TakesListsOfItsDomainAndPutsItsOwnBack) {
    // A station in front of a login without a list of its own has its instance's default.
    const std::string scenarios =
        R"({"access-type": "forbid", "name": "login", "auth-scenario": "x", "white-list": ""},
           {"access-type": "allow", "name": "x"})";
    build(vapText("wlan0-va1", "Guest", "local", scenarios));
    auto lent = std::make_shared<WhiteAddressesList>("lent", "192.0.2.0/24");
    portal_->getWhiteListStore()->addWhiteList(lent);
    const auto reachesAfterConnecting = [&](const char* address) {
        ClientIdentity identity(MacAddr(kMac), "", "", "");
        portal_->disconnectClient(identity, CommandInfo());
        portal_->addClient(MacAddr(kMac), "10.1.0.1", 1500, "wlan0-va1");
        const std::size_t before = events_.size();
        round({{"wlan0-va1", kMac}});
        EXPECT_TRUE(events_.waitFor(apsim::Party::redirector, "white list", {"wlan0-va1", kMac},
                                    apsim::Milliseconds(10000), before));
        return modules_.redirector().reaches({"wlan0-va1", kMac}, address);
    };
    const auto changeIn = [&](const char* mobilityDomain) {
        portal_->updatePortalInstance(
            std::make_shared<JsonEntry>(
                R"({"ssid": "Guest", "captive-portal": {"default-white-list": "lent"}})"),
            std::make_shared<ConfigInstanceMessageExtractor>(portal_->getWhiteListStore(),
                                                             mobilityDomain));
    };
    changeIn("elsewhere");
    EXPECT_TRUE(reachesAfterConnecting("10.0.0.1"));
    changeIn("hall");
    EXPECT_TRUE(reachesAfterConnecting("192.0.2.1"));
    EXPECT_FALSE(reachesAfterConnecting("10.0.0.1"));
    portal_->clearWhiteIPLists();
    EXPECT_FALSE(reachesAfterConnecting("192.0.2.1"));
    EXPECT_TRUE(reachesAfterConnecting("10.0.0.1"));
}

TEST_F(PortalTest, ForgetsAStationsOwnListThatNobodyRefersToAnyMore) {
    const auto store = portal_->getWhiteListStore();
    const auto announce = [&](const char* values) {
        const auto list = std::make_shared<WhiteAddressesList>("", values);
        store->addStationList(list);
        return list->getName();
    };
    const std::string used = announce("192.0.2.1");
    const std::string unused = announce("192.0.2.2");
    portal_->updatePortalInstance(
        std::make_shared<JsonEntry>(
            R"({"ssid": "Guest", "captive-portal": {"default-white-list": ")" + used + "\"}}"),
        std::make_shared<ConfigInstanceMessageExtractor>(store, "hall"));
    const auto listsInTheModule = [this] { return modules_.redirector().whiteLists().size(); };
    EXPECT_TRUE(
        events_.waitUntil([&] { return listsInTheModule() == 3; }, apsim::Milliseconds(10000)));
    // Only a quiet moment is a good one.
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!store->getWhiteListHash(unused).empty() && std::chrono::steady_clock::now() < end) {
        clock_.advanceSeconds(300);
        portal_->handle();
    }
    EXPECT_EQ(store->getWhiteListHash(unused), "");
    EXPECT_EQ(store->getWhiteListHash(used), used);
    EXPECT_TRUE(
        events_.waitUntil([&] { return listsInTheModule() == 2; }, apsim::Milliseconds(10000)));
}

}  // namespace
}  // namespace vesta
