#include "ipc/proxy_dialect.h"

#include "client/client.h"
#include "core/logger.h"
#include "whitelist/permitted_ip.h"

namespace vesta {
namespace {

// The proxies differ in the key of the redirection URL alone.
constexpr ClientKeys describing(const char* redirectionUrl) {
    return ClientKeys({
        {ClientProperty::macAddress, "cli-mac", writeText},
        {ClientProperty::ipAddress, "cli-ip", writeText},
        {ClientProperty::login, "cli-login", writeTextUnlessEmpty},
        {ClientProperty::redirectionUrl, redirectionUrl, writeText},
        {ClientProperty::proxyMode, "proxy-mode", writeText},
        {ClientProperty::virtualPortalName, "virtual-portal-name", writeTextUnlessEmpty},
        {ClientProperty::ssid, "ssid", writeText},
        {ClientProperty::radiusDomain, "domain", writeText},
        {ClientProperty::apLocation, "ap-location", writeText},
        {ClientProperty::vapMac, "ap-mac", writeText},
        {ClientProperty::currentState, "cur-state", writeText},
        {ClientProperty::endReason, "end-reason", writeText},
        {ClientProperty::endExpireValue, "end-value", writeText},
    });
}

constexpr ClientKeys kForRedirector = describing("portal-url");
constexpr ClientKeys kForTinyproxy = describing("url");

// "time_limit" and "session_timeout" are the proxy's spellings.
constexpr TableScenarioMessageExtractor::Table kScenario({
    {ScenarioSource::accessType, "access-type", readText},
    {ScenarioSource::name, "name", readText},
    {ScenarioSource::redirectUrl, "redirect-url", readText},
    {ScenarioSource::expireTime, "time_limit", readNumber},
    {ScenarioSource::txMaxSpeed, "transmit-maximum-speed", readNumber},
    {ScenarioSource::rxMaxSpeed, "receive-maximum-speed", readNumber},
    {ScenarioSource::trafficLimit, "traffic-limit", readBytes},
    {ScenarioSource::maxSessionTime, "session_timeout", readNumber},
    {ScenarioSource::awayTimeout, "away-timeout", readNumber},
});

}  // namespace

bool PortalClientMessageFactory::filter(const Client& client) {
    return client.isConnected();
}

RedirectorClientMessageFactory::RedirectorClientMessageFactory(const std::string& beginning)
    : PortalClientMessageFactory(kForRedirector, beginning) {}

TinyproxyClientMessageFactory::TinyproxyClientMessageFactory(const std::string& beginning)
    : PortalClientMessageFactory(kForTinyproxy, beginning) {}

TinyproxyScenarioMessageExtractor::TinyproxyScenarioMessageExtractor(
    std::shared_ptr<IWhiteAddressesListsStore> store)
    : TableScenarioMessageExtractor(kScenario), store_(std::move(store)) {}

std::pair<std::string, std::string> TinyproxyScenarioMessageExtractor::extractWhiteListId(
    Entry scenario) {
    const std::string permitted = scenario->getCharValue("permitted-ip");
    if (isWhiteListHash(permitted)) {
        logger().Debug("APBPortalExtractor::%s get permitted-ip hash, just returns it!\n",
                       "extractWhiteListId");
    }
    return resolvePermittedIp(*store_, permitted);
}

}  // namespace vesta
