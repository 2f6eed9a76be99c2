#pragma once

// An instance whose clients' scenarios the web portal sets and extends.

#include "portal/portal_instance.h"

namespace vesta {

class ManageblePortalInstance final : public PortalInstance {
public:
    explicit ManageblePortalInstance(const Settings& settings);

    bool addClientScenarios(ClientIdentity& identity,
                            std::vector<std::shared_ptr<Scenario>>& scenarios) override;
    bool setClientScenario(ClientIdentity& identity, const std::string& name,
                           AccessScenarioConstraints& constraints) override;
};

}  // namespace vesta
