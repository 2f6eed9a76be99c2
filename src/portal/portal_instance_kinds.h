#pragma once

// The two kinds of instances.

#include "portal/portal_instance.h"

namespace vesta {

// The web portal sets and extends the scenarios of its clients.
class ManageblePortalInstance final : public PortalInstance {
public:
    explicit ManageblePortalInstance(const Settings& settings);

    bool addClientScenarios(ClientIdentity& identity,
                            std::vector<std::shared_ptr<Scenario>>& scenarios) override;
    bool setClientScenario(ClientIdentity& identity, const std::string& name,
                           AccessScenarioConstraints& constraints) override;
};

// Its clients walk by the built-in rules alone: commands from the web portal change nothing.
class UnmanageblePortalInstance final : public PortalInstance {
public:
    explicit UnmanageblePortalInstance(const Settings& settings);

    bool addClientScenarios(ClientIdentity& identity,
                            std::vector<std::shared_ptr<Scenario>>& scenarios) override;
    bool setClientScenario(ClientIdentity& identity, const std::string& name,
                           AccessScenarioConstraints& constraints) override;
};

}  // namespace vesta
