#include "portal/portal_instance_kinds.h"

#include <cstdlib>

#include "client/client.h"
#include "core/fatal_error.h"
#include "core/logger.h"
#include "messages/portal_instance_messages.h"
#include "scenario/scenario_sequence_factory.h"
#include "station/client_statistic_info.h"

namespace vesta {
namespace {

// Stand in log records behind the name of the operation.
constexpr int kNoScenarioRecord = 762;
constexpr int kResetRecord = 773;

template <class SequenceFactory>
std::unique_ptr<ScenarioSequenceFactory> buildSequences(const PortalInstance::Settings& settings) {
    std::vector<std::shared_ptr<MessageEntry>> scenarios =
        settings.extractor->extractScenarios(settings.vap);
    try {
        return std::make_unique<SequenceFactory>(scenarios,
                                                 settings.extractor->getScenarioExtractor());
    } catch (ENTRY_EXCEPTION_TYPE) {
        reportFatalError("Interface %s has no valid scenario\n", settings.name.c_str());
        reportFatalError("Can't find scenarios or valid scenarios. Exit\n");
        // No destructors of static objects: threads of the bus use them.
        std::_Exit(EXIT_FAILURE);
    }
}

bool refuse(const char* operation) {
    logger().Debug("%s this is unmanaged instance, don't do anything.\n", operation);
    return false;
}

}  // namespace

ManageblePortalInstance::ManageblePortalInstance(const Settings& settings)
    : PortalInstance(settings, buildSequences<ManageableScenarioSequenceFactory>(settings)) {}

bool ManageblePortalInstance::addClientScenarios(
    ClientIdentity& identity, std::vector<std::shared_ptr<Scenario>>& scenarios) {
    const ClientPtr client = findConnectedClient(identity);
    return client && client->addScenarios(scenarios);
}

bool ManageblePortalInstance::setClientScenario(ClientIdentity& identity, const std::string& name,
                                                AccessScenarioConstraints& constraints) {
    const ClientPtr client = findConnectedClient(identity);
    if (!client || !client->setCurrentScenario(name)) {
        logger().Warning("%s,%d,Can't set scenario %s for client %s\n", "setClientScenario",
                         kNoScenarioRecord, name.c_str(), identity.to_string().c_str());
        return false;
    }
    client->updateScenarioConstraints(constraints);
    ClientStatisticInfo statistics = client->getStatistic();
    informators().handleClientScenarioChange(client, statistics);
    logger().Debug("%s,%d,Portal ask us to reset client %s with sending scenario \"%s\"\n",
                   "setClientScenario", kResetRecord, client->getMacAddress().c_str(),
                   name.c_str());
    informators().informatorsHandle(client, statistics, &Informator::informClientResetNeeded);
    return true;
}

UnmanageblePortalInstance::UnmanageblePortalInstance(const Settings& settings)
    : PortalInstance(settings, buildSequences<ScenarioSequenceFactory>(settings)) {}

bool UnmanageblePortalInstance::addClientScenarios(ClientIdentity&,
                                                   std::vector<std::shared_ptr<Scenario>>&) {
    return refuse("addClientScenarios");
}

bool UnmanageblePortalInstance::setClientScenario(ClientIdentity&, const std::string&,
                                                  AccessScenarioConstraints&) {
    return refuse("setClientScenario");
}

}  // namespace vesta
