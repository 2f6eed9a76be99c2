#include "messages/dump_dialect.h"

#include "core/logger.h"

namespace vesta {
namespace {

void writeStatus(MessageEntry& message, const char* key, const ToldValue& connected) {
    message.insertStringValue(key, connected.number != 0 ? "connected" : "disconnected");
}

void writeAccessType(MessageEntry& message, const char* key, const ToldValue& type) {
    switch (type.number) {
        case ACCESS_ALLOW:
            message.insertStringValue(key, "Allow");
            return;
        case ACCESS_REDIRECT:
            message.insertStringValue(key, "Redirect");
            return;
        case ACCESS_DROP:
            message.insertStringValue(key, "Drop");
            return;
        default:
            logger().Error("%s try to add unknown access type!\n", "addAccessType");
    }
}

// KiB/s as bytes/s.
void writeBandwidth(MessageEntry& message, const char* key, const ToldValue& kibPerSecond) {
    message.insertIntValue(key, static_cast<int>(kibPerSecond.number * 1024));
}

constexpr ClientKeys kClient({
    {ClientProperty::macAddress, "mac", writeText},
    {ClientProperty::ipAddress, "ip", writeText},
    {ClientProperty::connectionStatus, "status", writeStatus},
    {ClientProperty::accessType, "access-type", writeAccessType},
    {ClientProperty::sessionId, "session-id", writeText},
    {ClientProperty::login, "login", writeText},
    {ClientProperty::password, "password", writeText},
    {ClientProperty::redirectionUrl, "redirect-url", writeText},
    {ClientProperty::interface, "interface", writeText},
    {ClientProperty::ssid, "ssid", writeText},
    {ClientProperty::radiusDomain, "radius-domain", writeText},
    {ClientProperty::apLocation, "mobility-domain", writeText},
    {ClientProperty::simultaneousUse, "simultaneous-use", writeNumber},
    {ClientProperty::cntScenarios, "scenarios-cnt", writeSharedId},
    {ClientProperty::currentScenarioId, "scenario-id-cur", writeSharedId},
    {ClientProperty::currentTimeLimit, "time-limit-cur", writeNumber},
    {ClientProperty::sessionTime, "session-time", writeNumber},
    {ClientProperty::currentTrafficLimit, "traffic-limit-cur", writeNumber},
    {ClientProperty::scenarios, "scenario", writeEntries},
});

constexpr ScenarioKeys kScenario({
    {ScenarioProperty::id, "ID", writeSharedId},
    {ScenarioProperty::name, "name", writeText},
    {ScenarioProperty::externalUrl, "external-url", writeText},
    {ScenarioProperty::withoutSession, "start-session", writeOpposite},
    {ScenarioProperty::whiteIpHash, "permitted-ip", writeText},
    {ScenarioProperty::sessionTimeout, "session-timeout", writeNumber},
    {ScenarioProperty::sessionTime, "session-time", writeNumber},
    {ScenarioProperty::timeLimit, "time-limit", writeNumber},
    {ScenarioProperty::currentTimeLimit, "time-limit-cur", writeNumber},
    {ScenarioProperty::awayTimeout, "away-timeout", writeNumber},
    {ScenarioProperty::trafficLimit, "traffic-limit", writeNumber},
    {ScenarioProperty::currentTrafficLimit, "traffic-limit-cur", writeNumber},
    {ScenarioProperty::aclUp, "qos-up-acl", writeText},
    {ScenarioProperty::aclDown, "qos-down-acl", writeText},
    {ScenarioProperty::policyUp, "qos-up-policy", writeText},
    {ScenarioProperty::policyDown, "qos-down-policy", writeText},
    {ScenarioProperty::bandwidthUp, "qos-bw-up-rate", writeBandwidth},
    {ScenarioProperty::bandwidthDown, "qos-bw-down-rate", writeBandwidth},
});

}  // namespace

IPCDumpClientMessageFactory::IPCDumpClientMessageFactory() : TableClientMessageFactory(kClient) {}

std::shared_ptr<ScenarioMessageFactory>
IPCDumpClientScenariosMessageFactory::getScenarioMessageFactory() {
    return std::make_shared<IPCDumpScenarioMessageFactory>();
}

IPCDumpScenarioMessageFactory::IPCDumpScenarioMessageFactory()
    : TableScenarioMessageFactory(kScenario) {}

}  // namespace vesta
