// The dialect, against JSON written by hand.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <utility>
#include <vector>

#include "apb/apbd_collaborator.h"
#include "apb/apbd_dialect.h"
#include "client/client.h"
#include "core/json_entry.h"
#include "core/temporary_log.h"
#include "scenario/manageable_scenario_sequence.h"
#include "support/fake_clock.h"
#include "support/fake_portal_instance.h"
#include "support/keyed_scenarios.h"
#include "whitelist/white_lists_store.h"

namespace vesta {
namespace {

using nlohmann::json;

std::shared_ptr<MessageEntry> entry(const std::string& text) {
    return std::make_shared<JsonEntry>(text);
}

class Store final : public WhiteListsStore {
public:
    void whiteListAddingReaction(std::shared_ptr<WhiteAddressesList>) override {}
    void whiteListsClearReaction() override {}
};

// A station that is in its third scenario, with one of each kind behind it.
std::unique_ptr<Client> makeClient(PortalInstanceInterface& owner) {
    auto client = std::make_unique<Client>(
        testing::sequence<ManageableScenarioSequence>(
            {R"({"id": 0, "type": "forbid", "name": "login", "url": "http://l", "auth": "third"})",
             R"({"id": 1, "type": "allow", "name": "guest"})",
             R"({"id": 2, "type": "allow", "name": "third", "session": 3600, "time": 600, "away": 60,
                 "traffic": 1000, "tx-speed": 2, "rx-speed": 3})",
             R"({"id": 3, "type": "drop", "name": "mac"})",
             R"({"id": 4, "type": "forbid", "name": "nowhere", "url": ""})",
             R"({"id": 5, "type": "forbid", "name": "over", "url": "http://o", "white-list": "free",
                 "white-list-data": "10.0.0.0/8"})"}),
        MacAddr("0a:1b:2c:3d:4e:5f"), "10.1.0.1", 1500, owner);
    client->setLogin("bob");
    return client;
}

TEST(ApbdClientMessageFactory, WritesAuthorisedStationsWithWhatTheDialectCanExpress) {
    const testing::FakeClock clock;
    testing::FakePortalInstance owner;
    const std::unique_ptr<Client> client = makeClient(owner);
    const TemporaryLog log(Logger::kWarningBit);
    EXPECT_EQ(client->dumpToMessage(std::make_shared<APBDClientMessageFactory>()), nullptr);
    client->set_auth_scenario_client();

    json expected = json::parse(R"({"sta-mac": "0a:1b:2c:3d:4e:5f", "user-name": "bob",
        "ssid": "Guest", "radius-domain": "hall.example", "mobility-domain": "hall",
        "simultaneous-use": 0, "cur-scenario-id": 0, "cur-time-limit": 0, "cur-session-time": 0,
        "cur-traffic-limit": 0})");
    const auto update = client->dumpToMessage(std::make_shared<APBDUpdateClientMessageFactory>());
    EXPECT_EQ(json::parse(update->getStringRepresentation()), expected);
    EXPECT_EQ(log.records().size(), 0U);

    expected["scenario"] = json::parse(R"([
        {"ID": 0, "external-url": "", "start-session": "true", "permitted-ip": "",
         "session-timeout": 3600, "time-limit": 600, "away-timeout": 60, "traffic-limit": 1000,
         "policy-up": "", "policy-down": "", "bandwidth-max-up": 3072, "bandwidth-max-down": 2048},
        {"ID": 3, "external-url": "http://o", "start-session": "true",
         "permitted-ip": "10.0.0.0/8", "session-timeout": 0, "time-limit": 0, "away-timeout": 0,
         "traffic-limit": 0, "policy-up": "", "policy-down": "", "bandwidth-max-up": 0,
         "bandwidth-max-down": 0}])");
    const auto whole = client->dumpToMessage(std::make_shared<APBDClientMessageFactory>());
    EXPECT_EQ(json::parse(whole->getStringRepresentation()), expected);
    EXPECT_EQ(log.records().size(), 1U);
}

TEST(ApbdClientMessageFactory, WritesNumbersOf32Bits) {
    APBDClientMessageFactory record;
    record.createMessage();
    record.addCurrentScenarioId(0);
    record.addCurrentTrafficLimit(0x100000005LL);
    EXPECT_EQ(json::parse(record.getResultMessage()->getStringRepresentation()),
              json::parse(R"({"cur-scenario-id": -2, "cur-traffic-limit": 5})"));
    APBDScenarioMessageFactory scenario;
    scenario.createMessage();
    scenario.addBandwidthUp(4194303);
    EXPECT_EQ(json::parse(scenario.getResultMessage()->getStringRepresentation()),
              json::parse(R"({"bandwidth-max-up": 2147483647})"));
}

TEST(ApbdDialect, ReadsARecordAndItsScenarios) {
    const auto store = std::make_shared<Store>();
    APBDClientMessageExtractor of(store);
    const auto record = entry(R"({"sta-mac": "m", "sta-ip": "i", "ssid": "s", "user-name": "u",
        "radius-domain": "r", "mobility-domain": "d", "cur-scenario-id": -2, "cur-time-limit": 1,
        "cur-session-time": 2, "cur-traffic-limit": 3, "scenario": [{}, {}]})");
    std::ostringstream read;
    read << of.extractMac(record) << of.extractIp(record) << of.extractSsid(record)
         << of.extractLogin(record) << of.extractRadiusDomain(record)
         << of.extractMobilDomain(record) << ' ' << of.extractCurrentScenarioId(record) << ' '
         << of.extractTimeLimit(record) << ' ' << of.extractSessionTime(record) << ' '
         << of.extractTrafficLimit(record) << ' ' << of.extractScenarios(record).size();
    EXPECT_EQ(read.str(), "misurd 0 1 2 3 2");

    APBDScenarioMessageExtractor from(store);
    const auto scenario = entry(R"({"ID": 3, "external-url": "http://o", "time-limit": 1,
        "bandwidth-max-down": 4096, "bandwidth-max-up": 2047, "traffic-limit": 2,
        "session-timeout": 3, "away-timeout": 4, "permitted-ip": ""})");
    read.str("");
    read << from.extractID(scenario) << ' ' << from.extractName(scenario) << ' '
         << from.extractRedirectUrl(scenario) << ' ' << from.extractExpireTime(scenario) << ' '
         << from.extractTxMaxSpeed(scenario) << ' ' << from.extractRxMaxSpeed(scenario) << ' '
         << from.extractTrafficLimit(scenario) << ' ' << from.extractMaxSessionTime(scenario) << ' '
         << from.extractAwayTimeout(scenario) << from.extractWhiteListId(scenario).first;
    EXPECT_EQ(read.str(), "5 3 http://o 1 4 1 2 3 4");
}

TEST(ApbdScenarioMessageExtractor, TakesOnlyAnAbsentOrEmptyUrlForAccess) {
    APBDScenarioMessageExtractor extractor(nullptr);
    EXPECT_EQ(extractor.extractAccessType(entry("{}")), "allow");
    EXPECT_EQ(extractor.extractAccessType(entry(R"({"external-url": ""})")), "allow");
    EXPECT_EQ(extractor.extractAccessType(entry(R"({"external-url": "x"})")), "forbid");
    EXPECT_THROW(extractor.extractAccessType(entry(R"({"external-url": null})")),
                 ENTRY_EXCEPTION_TYPE);
}

TEST(ApbdDialect, FindsTheMobilityDomainPartAndWritesIt) {
    const auto store = std::make_shared<Store>();
    APBPortalInstanceMessageExtractor extractor(store);
    const std::pair<const char*, const char*> cases[] = {
        {R"({"mobility-domain": {"mobility-domain": "d", "ssid": "s", "radius-domain": "r"},
             "ssid": "x"})",
         "d s r"},
        {R"({"mobility-domain-list": [{"mobility-domain": "d", "ssid": "s"}, {"ssid": "x"}]})",
         "d s "},
        {R"({"mobility-domain": "d", "ssid": "s"})", "d s "},
        {R"({"ssid": "s", "mobility-domain-list": []})", "  "},
    };
    for (const auto& [text, parts] : cases) {
        EXPECT_EQ(extractor.extractMobilityDomain(entry(text)) + " " +
                      extractor.extractSsid(entry(text)) + " " +
                      extractor.extractRadiusDomain(entry(text)),
                  parts);
    }
    APBDPortalInstanceMessageFactory factory;
    factory.createMessage();
    factory.addSsid("s");
    factory.addRadiusDomain("r");
    factory.addApLocation("d");
    EXPECT_EQ(json::parse(factory.getResultMessage()->getStringRepresentation()),
              json::parse(R"({"ssid": "s", "radius-domain": "r", "mobility-domain": "d"})"));
    const auto [name, values] = extractor.extractWhiteIpListId(entry(R"({"permitted-ip": "a.b"})"));
    EXPECT_EQ(store->getWhiteListHash(name), name);
    EXPECT_EQ(values, "a.b");
}

TEST(ApbdCollaborator, SaysWhyItDoesNotSynchronise) {
    const std::pair<const char*, const char*> cases[] = {
        {"{}", "|DEBUG|No apbd part in configuration!"},
        {R"({"captive-portal": {"apbd": 1}})", "|DEBUG|No apbd part in configuration!"},
        {R"({"captive-portal": {"apbd": {}}})",
         "|DEBUG|APB not enabled. Clients not gonna be synced over APs"},
        {R"({"captive-portal": {"apbd": {"enabled": false}}})",
         "|DEBUG|APB not enabled. Clients not gonna be synced over APs"},
    };
    for (const auto& [config, record] : cases) {
        SCOPED_TRACE(config);
        const TemporaryLog log(7);
        const APBDCollaborator collaborator(std::make_shared<JsonEntry>(config), nullptr, nullptr);
        EXPECT_EQ(log.records(), TemporaryLog::Records{record});
    }
}

}  // namespace
}  // namespace vesta
