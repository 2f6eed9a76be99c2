// How a client writes itself into a message. Peers read members by name, yet the order of the calls
// is part of what a factory may rely on.

#include "client/client.h"
#include "client/portal_instance_interface.h"
#include "core/logger.h"
#include "messages/client_message_factory.h"
#include "messages/scenario_message_factory.h"
#include "scenario/scenario.h"
#include "scenario/scenario_sequence.h"

namespace vesta {
namespace {

std::shared_ptr<ScenarioMessageFactory> scenarioFactoryOf(ClientMessageFactory& factory,
                                                          const char* operation) {
    std::shared_ptr<ScenarioMessageFactory> scenarios = factory.getScenarioMessageFactory();
    if (!scenarios) {
        logger().Error("%s,%d,client not use scenario Factory\n", operation, __LINE__);
    }
    return scenarios;
}

}  // namespace

std::shared_ptr<MessageEntry> Client::dumpToMessage(
    std::shared_ptr<ClientMessageFactory> factory) const {
    if (!factory->filter(*this)) {
        return nullptr;
    }
    factory->createMessage();
    addIdentity(*factory);
    if (!isAccessOpen()) {
        addRedirection(*factory);
    }
    const Scenario& current = *sequence_->getCurrent();
    factory->addCurrentTimeLimit(current.getCurrentTimeLimit());
    factory->addSessionTime(current.getScenarioTime());
    factory->addCurrentTrafficLimit(current.getCurrentTraffic());
    addState(*factory);
    if (const auto scenarioFactory = scenarioFactoryOf(*factory, "dumpToMessage")) {
        auto scenarios = sequence_->dumpActualToMessages(scenarioFactory);
        factory->addScenarios(scenarios);
    }
    return factory->getResultMessage();
}

std::shared_ptr<MessageEntry> Client::dumpScenarioToMessage(
    std::shared_ptr<ClientMessageFactory> factory) const {
    if (!factory->filter(*this)) {
        return nullptr;
    }
    factory->createMessage();
    factory->addMacAddress(getMacAddress());
    factory->addIpAddress(ip_);
    factory->addConnectionStatus(connected_);
    factory->addAccessType(getAccessType());
    factory->addSsid(owner_.getSsid());
    factory->addCurrentScenarioId(sequence_->getCurrent()->getId());
    if (const auto scenarioFactory = scenarioFactoryOf(*factory, "dumpScenarioToMessage")) {
        auto scenarios = sequence_->dumpToMessages(scenarioFactory);
        factory->addScenarios(scenarios);
    }
    return factory->getResultMessage();
}

void Client::addIdentity(ClientMessageFactory& factory) const {
    factory.addMacAddress(getMacAddress());
    factory.addIpAddress(ip_);
    factory.addConnectionStatus(connected_);
    factory.addAccessType(getAccessType());
    factory.addSessionId(getSessionId());
    factory.addLogin(login_);
    factory.addInterface(interface_);
    factory.addSsid(owner_.getSsid());
    factory.addRadiusDomain(owner_.getDomain());
    factory.addApLocation(owner_.getApLocation());
    factory.addVapMac(owner_.getAttachedInterfaceMac());
    factory.addSimultaneousUse(0);
    factory.addCntScenarios(sequence_->getCount());
    factory.addCurrentScenarioId(sequence_->getCurrent()->getId());
    factory.addCurrentScenarioName(sequence_->getCurrent()->getScenarioName());
}

void Client::addRedirection(ClientMessageFactory& factory) const {
    const Scenario& current = *sequence_->getCurrent();
    factory.addRedirectionUrl(redirectUrl_.empty() ? current.getRedirectUrl() : redirectUrl_);
    factory.addProxyMode("absolute-path");
    std::string portalName = current.getVirtualPortalName();
    if (portalName.empty()) {
        portalName = owner_.getSharedPortalName();
        logger().Debug(
            "%s,%d,client use scenario without portal name, so use name from portal - %s\n",
            "dumpToMessage", __LINE__, portalName.c_str());
    }
    factory.addVirtualPortalName(portalName);
}

void Client::addState(ClientMessageFactory& factory) const {
    if (!isAuthorized()) {
        factory.addCurrentState("not-auth");
        return;
    }
    if (!sequence_->isCurrentScenarioLast()) {
        factory.addCurrentState("state" + sequence_->getCurrent()->getScenarioName());
        return;
    }
    // Asked for only here: a scenario that can't expire answers with an error record, which would
    // come with every dump of a station in front of its login.
    const auto [reason, statistics] = sequence_->getExpireInfo();
    factory.addEndReason(reason);
    factory.addEndExpireValue(statistics.getExpiredValue(reason));
    factory.addCurrentState("session-end");
}

}  // namespace vesta
