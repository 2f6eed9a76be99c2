#include "portal/manageble_portal_instance.h"

#include "client/client.h"
#include "core/logger.h"
#include "messages/portal_instance_message_extractor.h"
#include "scenario/scenario_sequence_factory.h"

namespace vesta {
namespace {

std::unique_ptr<ScenarioSequenceFactory> buildSequences(const PortalInstance::Settings& settings) {
    std::vector<std::shared_ptr<MessageEntry>> scenarios =
        settings.extractor->extractScenarios(settings.vap);
    return std::make_unique<ManageableScenarioSequenceFactory>(
        scenarios, settings.extractor->getScenarioExtractor());
}

}  // namespace

ManageblePortalInstance::ManageblePortalInstance(const Settings& settings)
    : PortalInstance(settings, buildSequences(settings)) {}

bool ManageblePortalInstance::addClientScenarios(
    ClientIdentity& identity, std::vector<std::shared_ptr<Scenario>>& scenarios) {
    const ClientPtr client = findConnectedClient(identity);
    return client && client->addScenarios(scenarios);
}

bool ManageblePortalInstance::setClientScenario(ClientIdentity& identity, const std::string& name,
                                                AccessScenarioConstraints& constraints) {
    const ClientPtr client = findConnectedClient(identity);
    if (!client || !client->setCurrentScenario(name)) {
        logger().Warning("%s,%d,Can't set scenario %s for client %s\n", "setClientScenario", 762,
                         name.c_str(), identity.to_string().c_str());
        return false;
    }
    client->updateScenarioConstraints(constraints);
    ClientStatisticInfo statistics = client->getStatistic();
    handleClientScenarioChange(client, statistics);
    logger().Debug("%s,%d,Portal ask us to reset client %s with sending scenario \"%s\"\n",
                   "setClientScenario", 773, client->getMacAddress().c_str(), name.c_str());
    informatorsHandle(client, statistics, &Informator::informClientResetNeeded);
    return true;
}

}  // namespace vesta
