#pragma once

// An instance whose clients walk by the built-in rules alone: commands from the web portal change
// nothing.

#include "portal/portal_instance.h"

namespace vesta {

class UnmanageblePortalInstance final : public PortalInstance {
public:
    explicit UnmanageblePortalInstance(const Settings& settings);

    bool addClientScenarios(ClientIdentity& identity,
                            std::vector<std::shared_ptr<Scenario>>& scenarios) override;
    bool setClientScenario(ClientIdentity& identity, const std::string& name,
                           AccessScenarioConstraints& constraints) override;
};

}  // namespace vesta
