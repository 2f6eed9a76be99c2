// The dialect, against JSON written by hand.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "apb/apbd_dialect.h"
#include "client/client.h"
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

json textOf(const std::shared_ptr<MessageEntry>& message) {
    return json::parse(message->getStringRepresentation());
}

TEST(ApbdDialect, WritesAuthorisedStationsWithWhatItCanExpressAndReadsThemBack) {
    testing::FakeClock clock;
    testing::FakePortalInstance owner;
    Client client(
        testing::sequence<ManageableScenarioSequence>(
            {R"({"id": 0, "type": "forbid", "name": "login", "url": "http://l", "auth": "third"})",
             R"({"id": 1, "type": "allow", "name": "guest"})",
             R"({"id": 2, "type": "allow", "name": "third", "session": 3600, "time": 600,
                 "away": 60, "traffic": 1000, "tx-speed": 2, "rx-speed": 3})",
             R"({"id": 3, "type": "drop", "name": "mac"})",
             R"({"id": 4, "type": "forbid", "name": "nowhere", "url": ""})",
             R"({"id": 5, "type": "forbid", "name": "over", "url": "http://o", "white-list": "free",
                 "white-list-data": "10.0.0.0/8"})"}),
        MacAddr("0a:1b:2c:3d:4e:5f"), "10.1.0.1", 1500, owner);
    client.setLogin("bob");
    const TemporaryLog log(Logger::kWarningBit);
    EXPECT_EQ(client.dumpToMessage(std::make_shared<APBDClientMessageFactory>()), nullptr);
    client.set_auth_scenario_client();
    for (const std::uint64_t rxBytes : {1U, 14U}) {
        ClientStatisticInfo statistics;
        statistics.rxBytes = rxBytes;
        statistics.uptime = 11;
        client.updateStatistic(statistics);
    }
    clock.advanceSeconds(12);
    EXPECT_FALSE(client.checkScenarioExpire());

    json expected = json::parse(R"({"sta-mac": "0a:1b:2c:3d:4e:5f", "user-name": "bob",
        "ssid": "Guest", "radius-domain": "hall.example", "mobility-domain": "hall",
        "simultaneous-use": 0, "cur-scenario-id": 0, "cur-time-limit": 11, "cur-session-time": 12,
        "cur-traffic-limit": 13})");
    EXPECT_EQ(textOf(client.dumpToMessage(std::make_shared<APBDUpdateClientMessageFactory>())),
              expected);
    EXPECT_EQ(log.records().size(), 0U);
    expected["scenario"] = json::parse(R"([
        {"ID": 0, "external-url": "", "start-session": "true", "permitted-ip": "",
         "session-timeout": 3600, "time-limit": 600, "away-timeout": 60, "traffic-limit": 1000,
         "policy-up": "", "policy-down": "", "bandwidth-max-up": 3072, "bandwidth-max-down": 2048},
        {"ID": 3, "external-url": "http://o", "start-session": "true",
         "permitted-ip": "10.0.0.0/8", "session-timeout": 0, "time-limit": 0, "away-timeout": 0,
         "traffic-limit": 0, "policy-up": "", "policy-down": "", "bandwidth-max-up": 0,
         "bandwidth-max-down": 0}])");
    const auto record = client.dumpToMessage(std::make_shared<APBDClientMessageFactory>());
    EXPECT_EQ(textOf(record), expected);
    EXPECT_EQ(log.records().size(), 1U);

    const auto extractor = std::make_shared<APBDClientMessageExtractor>(std::make_shared<Store>());
    EXPECT_EQ(extractor->extractMac(record) + " " + extractor->extractSsid(record) + " " +
                  extractor->extractRadiusDomain(record) + " " +
                  extractor->extractMobilDomain(record),
              "0a:1b:2c:3d:4e:5f Guest hall.example hall");
    EXPECT_EQ(extractor->extractTimeLimit(record), 11);
    EXPECT_EQ(extractor->extractTrafficLimit(record), 13);
    const Client elsewhere(record, extractor, client.getMac(), "10.1.0.1", 1500, owner);
    EXPECT_EQ(textOf(elsewhere.dumpScenarioToMessage(
                  std::make_shared<APBDClientMessageFactory>()))["scenario"],
              expected["scenario"]);
    expected.erase("scenario");
    expected["cur-time-limit"] = expected["cur-traffic-limit"] = 0;
    EXPECT_EQ(textOf(elsewhere.dumpToMessage(std::make_shared<APBDUpdateClientMessageFactory>())),
              expected);
}

TEST(ApbdDialect, WritesNumbersOf32Bits) {
    APBDClientMessageFactory record;
    record.createMessage();
    record.addCurrentTrafficLimit(0x100000005LL);
    EXPECT_EQ(textOf(record.getResultMessage()), json({{"cur-traffic-limit", 5}}));
    APBDScenarioMessageFactory scenario;
    scenario.createMessage();
    scenario.addBandwidthUp(4194303);
    EXPECT_EQ(textOf(scenario.getResultMessage()), json({{"bandwidth-max-up", 2147483647}}));
}

TEST(ApbdDialect, ReadsAScenarioByItsIdAndAsAccessWhereItsUrlIsAbsentOrEmpty) {
    APBDScenarioMessageExtractor extractor(nullptr);
    const auto access = entry(R"({"ID": 3, "external-url": "", "bandwidth-max-up": 2047})");
    EXPECT_EQ(extractor.extractID(access), 5U);
    EXPECT_EQ(extractor.extractName(access), "3");
    EXPECT_EQ(extractor.extractRxMaxSpeed(access), 1U);
    EXPECT_EQ(extractor.extractAccessType(access), "allow");
    EXPECT_EQ(extractor.extractAccessType(entry("{}")), "allow");
    EXPECT_THROW(extractor.extractAccessType(entry(R"({"external-url": null})")),
                 ENTRY_EXCEPTION_TYPE);
}

TEST(ApbdDialect, FindsTheMobilityDomainPart) {
    APBPortalInstanceMessageExtractor extractor(nullptr);
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
}

}  // namespace
}  // namespace vesta
