#include "apb/apbd_scenario_message_extractor.h"

#include "apb/apbd_numbers.h"
#include "core/data_parser.h"
#include "core/logger.h"
#include "whitelist/permitted_ip.h"

namespace vesta {
namespace {

constexpr const char* kUrl = "external-url";

}  // namespace

std::pair<std::string, std::string> APBDScenarioMessageExtractor::extractWhiteListId(Entry entry) {
    const std::string permitted = entry->getCharValue("permitted-ip");
    auto resolved = resolvePermittedIp(*store_, permitted);
    if (isWhiteListHash(permitted) && resolved.first == permitted) {
        logger().Debug("APBScenarioExtractor::%s get permitted-ip hash, just returns it!\n",
                       "extractWhiteListId");
    }
    return resolved;
}

long APBDScenarioMessageExtractor::extractExpireTime(Entry entry) {
    return entry->getIntValue("time-limit");
}

long long APBDScenarioMessageExtractor::extractTrafficLimit(Entry entry) {
    return entry->getIntValue("traffic-limit");
}

long APBDScenarioMessageExtractor::extractMaxSessionTime(Entry entry) {
    return entry->getIntValue("session-timeout");
}

long APBDScenarioMessageExtractor::extractAwayTimeout(Entry entry) {
    return entry->getIntValue("away-timeout");
}

unsigned int APBDScenarioMessageExtractor::extractID(Entry entry) {
    return idFromPeers(entry->getIntValue("ID"));
}

unsigned int APBDScenarioMessageExtractor::extractTxMaxSpeed(Entry entry) {
    return bandwidthFromPeers(entry->getIntValue("bandwidth-max-down"));
}

unsigned int APBDScenarioMessageExtractor::extractRxMaxSpeed(Entry entry) {
    return bandwidthFromPeers(entry->getIntValue("bandwidth-max-up"));
}

std::string APBDScenarioMessageExtractor::extractAccessType(Entry entry) {
    try {
        return entry->getCharValue(kUrl).empty() ? "allow" : "forbid";
    } catch (ENTRY_EXCEPTION_TYPE reason) {
        if (reason != ENTRY_NOT_FOUND) {
            throw;
        }
        return "allow";
    }
}

std::string APBDScenarioMessageExtractor::extractName(Entry entry) {
    return DataParser::objectToString(entry->getIntValue("ID"));
}

std::string APBDScenarioMessageExtractor::extractRedirectUrl(Entry entry) {
    return entry->getCharValue(kUrl);
}

}  // namespace vesta
