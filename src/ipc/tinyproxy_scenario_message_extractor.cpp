#include "ipc/tinyproxy_scenario_message_extractor.h"

#include "core/logger.h"
#include "whitelist/permitted_ip.h"
#include "whitelist/white_lists_store.h"

namespace vesta {

TinyproxyScenarioMessageExtractor::TinyproxyScenarioMessageExtractor(
    std::shared_ptr<IWhiteAddressesListsStore> store)
    : store_(std::move(store)) {}

std::pair<std::string, std::string> TinyproxyScenarioMessageExtractor::extractWhiteListId(
    Entry entry) {
    const std::string permitted = entry->getCharValue("permitted-ip");
    if (isWhiteListHash(permitted)) {
        logger().Debug("APBPortalExtractor::%s get permitted-ip hash, just returns it!\n",
                       "extractWhiteListId");
    }
    return resolvePermittedIp(*store_, permitted);
}

long TinyproxyScenarioMessageExtractor::extractExpireTime(Entry entry) {
    return entry->getIntValue("time_limit");
}

long long TinyproxyScenarioMessageExtractor::extractTrafficLimit(Entry entry) {
    return entry->getIntValue("traffic-limit");
}

long TinyproxyScenarioMessageExtractor::extractMaxSessionTime(Entry entry) {
    return entry->getIntValue("session_timeout");
}

long TinyproxyScenarioMessageExtractor::extractAwayTimeout(Entry entry) {
    return entry->getIntValue("away-timeout");
}

unsigned int TinyproxyScenarioMessageExtractor::extractTxMaxSpeed(Entry entry) {
    return static_cast<unsigned int>(entry->getIntValue("transmit-maximum-speed"));
}

unsigned int TinyproxyScenarioMessageExtractor::extractRxMaxSpeed(Entry entry) {
    return static_cast<unsigned int>(entry->getIntValue("receive-maximum-speed"));
}

std::string TinyproxyScenarioMessageExtractor::extractAccessType(Entry entry) {
    return entry->getCharValue("access-type");
}

std::string TinyproxyScenarioMessageExtractor::extractName(Entry entry) {
    return entry->getCharValue("name");
}

std::string TinyproxyScenarioMessageExtractor::extractRedirectUrl(Entry entry) {
    return entry->getCharValue("redirect-url");
}

}  // namespace vesta
