#include "client/client_dump.h"

#include <string>

#include "client/client.h"
#include "client/portal_instance_interface.h"
#include "core/logger.h"
#include "messages/client_message_factory.h"
#include "messages/scenario_message_factory.h"
#include "scenario/scenario.h"
#include "scenario/scenario_sequence.h"

namespace vesta {
namespace {

// Stand in log records behind the name of the operation.
constexpr int kNoPortalNameRecord = 94;

void addIdentity(const Client& client, const ScenarioSequence& sequence,
                 ClientMessageFactory& factory) {
    const PortalInstanceInterface& owner = client.getOwner();
    factory.addMacAddress(client.getMacAddress());
    factory.addIpAddress(client.getIpAddress());
    factory.addConnectionStatus(client.isConnected());
    factory.addAccessType(client.getAccessType());
    factory.addSessionId(client.getSessionId());
    factory.addLogin(client.getLogin());
    factory.addInterface(client.getInterface());
    factory.addSsid(owner.getSsid());
    factory.addRadiusDomain(owner.getDomain());
    factory.addApLocation(owner.getApLocation());
    factory.addVapMac(owner.getAttachedInterfaceMac());
    factory.addSimultaneousUse(0);
    factory.addCntScenarios(sequence.getCount());
    factory.addCurrentScenarioId(sequence.getCurrent()->getId());
    factory.addCurrentScenarioName(sequence.getCurrent()->getScenarioName());
}

void addRedirection(const Client& client, const Scenario& current, ClientMessageFactory& factory) {
    const std::string& url = client.getRedirectUrl();
    factory.addRedirectionUrl(url.empty() ? current.getRedirectUrl() : url);
    factory.addProxyMode("absolute-path");
    std::string portalName = current.getVirtualPortalName();
    if (portalName.empty()) {
        portalName = client.getOwner().getSharedPortalName();
        logger().Debug(
            "%s,%d,client use scenario without portal name, so use name from portal - %s\n",
            "dumpToMessage", kNoPortalNameRecord, portalName.c_str());
    }
    factory.addVirtualPortalName(portalName);
}

void addState(const Client& client, const ScenarioSequence& sequence,
              ClientMessageFactory& factory) {
    if (!client.isAuthorized()) {
        factory.addCurrentState("not-auth");
        return;
    }
    if (!sequence.isCurrentScenarioLast()) {
        factory.addCurrentState("state" + sequence.getCurrent()->getScenarioName());
        return;
    }
    // Asked for only here: a scenario that can't expire answers with an error record, which would
    // come with every dump of a station in front of its login.
    const auto [reason, statistics] = sequence.getExpireInfo();
    factory.addEndReason(reason);
    factory.addEndExpireValue(statistics.getExpiredValue(reason));
    factory.addCurrentState("session-end");
}

}  // namespace

std::shared_ptr<MessageEntry> dumpClient(const Client& client, const ScenarioSequence& sequence,
                                         ClientMessageFactory& factory) {
    if (!factory.filter(client)) {
        return nullptr;
    }
    factory.createMessage();
    addIdentity(client, sequence, factory);
    const Scenario& current = *sequence.getCurrent();
    if (!client.isAccessOpen()) {
        addRedirection(client, current, factory);
    }
    factory.addCurrentTimeLimit(current.getCurrentTimeLimit());
    factory.addSessionTime(current.getScenarioTime());
    factory.addCurrentTrafficLimit(current.getCurrentTraffic());
    addState(client, sequence, factory);
    if (const auto scenarioFactory = factory.getScenarioMessageFactory()) {
        auto scenarios = sequence.dumpActualToMessages(scenarioFactory);
        factory.addScenarios(scenarios);
    }
    return factory.getResultMessage();
}

std::shared_ptr<MessageEntry> dumpClientScenarios(const Client& client,
                                                  const ScenarioSequence& sequence,
                                                  ClientMessageFactory& factory) {
    if (!factory.filter(client)) {
        return nullptr;
    }
    factory.createMessage();
    factory.addMacAddress(client.getMacAddress());
    factory.addIpAddress(client.getIpAddress());
    factory.addConnectionStatus(client.isConnected());
    factory.addAccessType(client.getAccessType());
    factory.addSsid(client.getOwner().getSsid());
    factory.addCurrentScenarioId(sequence.getCurrent()->getId());
    if (const auto scenarioFactory = factory.getScenarioMessageFactory()) {
        auto scenarios = sequence.dumpToMessages(scenarioFactory);
        factory.addScenarios(scenarios);
    }
    return factory.getResultMessage();
}

}  // namespace vesta
