#include "apb/apbd_dialect.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>

#include "client/client.h"
#include "core/logger.h"
#include "core/optional_value.h"
#include "core/quoted.h"
#include "whitelist/permitted_ip.h"

namespace vesta {
namespace {

using Entry = std::shared_ptr<MessageEntry>;

constexpr const char* kMobilityDomain = "mobility-domain";
constexpr const char* kUrl = "external-url";

int heldTo32Bits(std::int64_t number) {
    return static_cast<int>(std::clamp<std::int64_t>(number, std::numeric_limits<int>::min(),
                                                     std::numeric_limits<int>::max()));
}

// What does not fit is the greatest number that does.
void writeHeld(MessageEntry& record, const char* key, const ToldValue& value) {
    record.insertIntValue(key, heldTo32Bits(value.number));
}

// KiB/s as bytes/s; what does not fit is the greatest rate that does, since 0 would be no limit.
void writeBandwidth(MessageEntry& record, const char* key, const ToldValue& kibPerSecond) {
    record.insertIntValue(key, heldTo32Bits(kibPerSecond.number * 1024));
}

constexpr ClientKeys kWrittenRecord({
    {ClientProperty::macAddress, "sta-mac", writeText},
    {ClientProperty::login, "user-name", writeText},
    {ClientProperty::ssid, "ssid", writeText},
    {ClientProperty::radiusDomain, "radius-domain", writeText},
    {ClientProperty::apLocation, kMobilityDomain, writeText},
    {ClientProperty::simultaneousUse, "simultaneous-use", writeNumber},
    {ClientProperty::currentScenarioId, "cur-scenario-id", writeSharedId},
    {ClientProperty::currentTimeLimit, "cur-time-limit", writeHeld},
    {ClientProperty::sessionTime, "cur-session-time", writeHeld},
    {ClientProperty::currentTrafficLimit, "cur-traffic-limit", writeNumber},
    {ClientProperty::scenarios, "scenario", writeEntries},
});

constexpr ScenarioKeys kWrittenScenario({
    {ScenarioProperty::id, "ID", writeSharedId},
    {ScenarioProperty::externalUrl, kUrl, writeText},
    {ScenarioProperty::withoutSession, "start-session", writeOpposite},
    // One key for both: the one that is told last stays.
    {ScenarioProperty::whiteIpHash, "permitted-ip", writeText},
    {ScenarioProperty::whiteIp, "permitted-ip", writeText},
    {ScenarioProperty::sessionTimeout, "session-timeout", writeHeld},
    {ScenarioProperty::timeLimit, "time-limit", writeHeld},
    {ScenarioProperty::awayTimeout, "away-timeout", writeHeld},
    {ScenarioProperty::trafficLimit, "traffic-limit", writeHeld},
    {ScenarioProperty::policyUp, "policy-up", writeText},
    {ScenarioProperty::policyDown, "policy-down", writeText},
    {ScenarioProperty::bandwidthUp, "bandwidth-max-up", writeBandwidth},
    {ScenarioProperty::bandwidthDown, "bandwidth-max-down", writeBandwidth},
});

ReadValue readBandwidth(MessageEntry& scenario, const char* key) {
    return {"", std::max(0, scenario.getIntValue(key)) / 1024};
}

ReadValue readNumberAsText(MessageEntry& scenario, const char* key) {
    return {std::to_string(scenario.getIntValue(key))};
}

constexpr TableScenarioMessageExtractor::Table kReadScenario({
    {ScenarioSource::id, "ID", readSharedId},
    {ScenarioSource::name, "ID", readNumberAsText},
    {ScenarioSource::redirectUrl, kUrl, readText},
    {ScenarioSource::expireTime, "time-limit", readNumber},
    {ScenarioSource::txMaxSpeed, "bandwidth-max-down", readBandwidth},
    {ScenarioSource::rxMaxSpeed, "bandwidth-max-up", readBandwidth},
    {ScenarioSource::trafficLimit, "traffic-limit", readNumber},
    {ScenarioSource::maxSessionTime, "session-timeout", readNumber},
    {ScenarioSource::awayTimeout, "away-timeout", readNumber},
});

Entry firstOrNull(MessageEntry& entry, const char* key) {
    const std::vector<Entry> elements =
        valueOr(std::vector<Entry>(), [&] { return entry.getArrayValue(key); });
    return elements.empty() ? nullptr : elements.front();
}

// "" also without an entry.
std::string textOf(const Entry& entry, const char* key) {
    return entry != nullptr ? textOrEmpty(*entry, key) : "";
}

}  // namespace

APBDClientMessageFactory::APBDClientMessageFactory() : TableClientMessageFactory(kWrittenRecord) {}

std::shared_ptr<ScenarioMessageFactory> APBDClientMessageFactory::getScenarioMessageFactory() {
    return std::make_shared<APBDScenarioMessageFactory>();
}

bool APBDClientMessageFactory::filter(const Client& client) {
    return client.isAuthorized();
}

void APBDClientMessageFactory::addScenarios(std::vector<Entry>& scenarios) {
    std::vector<Entry> expressible;
    std::copy_if(scenarios.begin(), scenarios.end(), std::back_inserter(expressible),
                 [](const auto& scenario) { return scenario != nullptr; });
    if (expressible.size() != scenarios.size()) {
        logger().Warning(
            "%s: %d of %d scenarios can't be told to other access points: a drop "
            "scenario, or a redirect without URL\n",
            "addScenarios", static_cast<int>(scenarios.size() - expressible.size()),
            static_cast<int>(scenarios.size()));
    }
    TableClientMessageFactory::addScenarios(expressible);
}

APBDScenarioMessageFactory::APBDScenarioMessageFactory()
    : TableScenarioMessageFactory(kWrittenScenario) {}

void APBDScenarioMessageFactory::createMessage() {
    TableScenarioMessageFactory::createMessage();
    type_ = ACCESS_ALLOW;
    hasUrl_ = false;
}

Entry APBDScenarioMessageFactory::getResultMessage() {
    const bool expressible = type_ == ACCESS_ALLOW || (type_ == ACCESS_REDIRECT && hasUrl_);
    return expressible ? TableScenarioMessageFactory::getResultMessage() : nullptr;
}

void APBDScenarioMessageFactory::addExternalUrl(const std::string& url) {
    TableScenarioMessageFactory::addExternalUrl(url);
    hasUrl_ = !url.empty();
}

void APBDPortalInstanceMessageFactory::createMessage() {
    message_ = std::make_shared<JsonEntry>("{}");
}

std::shared_ptr<ScenarioMessageExtractor> APBDClientMessageExtractor::getScenarioExtractor() {
    return std::make_shared<APBDScenarioMessageExtractor>(store_);
}

unsigned int APBDClientMessageExtractor::extractCurrentScenarioId(Entry record) {
    return static_cast<unsigned int>(readSharedId(*record, "cur-scenario-id").number);
}

APBDScenarioMessageExtractor::APBDScenarioMessageExtractor(
    std::shared_ptr<IWhiteAddressesListsStore> store)
    : TableScenarioMessageExtractor(kReadScenario), store_(std::move(store)) {}

std::pair<std::string, std::string> APBDScenarioMessageExtractor::extractWhiteListId(
    Entry scenario) {
    const std::string permitted = scenario->getCharValue("permitted-ip");
    auto resolved = resolvePermittedIp(*store_, permitted);
    if (isWhiteListHash(permitted) && resolved.first == permitted) {
        logger().Debug("APBScenarioExtractor::%s get permitted-ip hash, just returns it!\n",
                       "extractWhiteListId");
    }
    return resolved;
}

std::string APBDScenarioMessageExtractor::extractAccessType(Entry scenario) {
    try {
        return scenario->getCharValue(kUrl).empty() ? "allow" : "forbid";
    } catch (ENTRY_EXCEPTION_TYPE reason) {
        if (reason != ENTRY_NOT_FOUND) {
            throw;
        }
        return "allow";
    }
}

Entry APBPortalInstanceMessageExtractor::getMobilityDomainPart(const Entry& entry) {
    if (Entry part = valueOr(Entry(), [&] { return entry->getObjectValue(kMobilityDomain); })) {
        return part;
    }
    if (Entry part = firstOrNull(*entry, "mobility-domain-list")) {
        return part;
    }
    if (readOptional([&] { static_cast<void>(entry->getCharValue(kMobilityDomain)); })) {
        return entry;
    }
    logger().Debug("Apb instance part without instance part from:\n'%s'\n",
                   quotedForLog(entry->getStringRepresentation()).c_str());
    return nullptr;
}

std::string APBPortalInstanceMessageExtractor::extractSsid(Entry entry) {
    return textOf(getMobilityDomainPart(entry), "ssid");
}

std::string APBPortalInstanceMessageExtractor::extractMobilityDomain(Entry entry) {
    return textOf(getMobilityDomainPart(entry), kMobilityDomain);
}

std::string APBPortalInstanceMessageExtractor::extractRadiusDomain(Entry entry) {
    return textOf(getMobilityDomainPart(entry), "radius-domain");
}

std::pair<std::string, std::string> APBPortalInstanceMessageExtractor::extractWhiteIpListId(
    Entry entry) {
    return resolvePermittedIp(*store_, textOrEmpty(*entry, "permitted-ip"));
}

std::shared_ptr<ScenarioMessageExtractor>
APBPortalInstanceMessageExtractor::getScenarioExtractor() {
    return std::make_shared<APBDScenarioMessageExtractor>(store_);
}

}  // namespace vesta
