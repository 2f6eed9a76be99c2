#include "portal/unmanageble_portal_instance.h"

#include "core/logger.h"
#include "messages/portal_instance_message_extractor.h"
#include "scenario/scenario_sequence_factory.h"

namespace vesta {
namespace {

std::unique_ptr<ScenarioSequenceFactory> buildSequences(const PortalInstance::Settings& settings) {
    std::vector<std::shared_ptr<MessageEntry>> scenarios =
        settings.extractor->extractScenarios(settings.vap);
    return std::make_unique<ScenarioSequenceFactory>(scenarios,
                                                     settings.extractor->getScenarioExtractor());
}

bool refuse(const char* operation) {
    logger().Debug("%s this is unmanaged instance, don't do anything.\n", operation);
    return false;
}

}  // namespace

UnmanageblePortalInstance::UnmanageblePortalInstance(const Settings& settings)
    : PortalInstance(settings, buildSequences(settings)) {}

bool UnmanageblePortalInstance::addClientScenarios(ClientIdentity&,
                                                   std::vector<std::shared_ptr<Scenario>>&) {
    return refuse("addClientScenarios");
}

bool UnmanageblePortalInstance::setClientScenario(ClientIdentity&, const std::string&,
                                                  AccessScenarioConstraints&) {
    return refuse("setClientScenario");
}

}  // namespace vesta
