#pragma once

// Has the traffic shaper module limit the speed of the stations of one instance. Every event is one
// command to the module's control file, which is opened for it alone.

#include <memory>
#include <string>

#include "client/informator.h"

namespace vesta {

class ShaperModuleWorker final : public Informator {
public:
    explicit ShaperModuleWorker(const std::string& instanceName) : instanceName_(instanceName) {}

    bool informClientAuthenticated(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informUpdateClient(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informClientDeuthenticated(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informClientRemoved(std::shared_ptr<Client>, ClientStatisticInfo&) override;

    // Each returns false when the control file can't be opened. A station without limits is not
    // shaped, but its deletion is written all the same.
    bool applyClientConstraints(std::shared_ptr<Client>);
    bool deleteClientConstraints(std::shared_ptr<Client>);

private:
    std::string instanceName_;
};

}  // namespace vesta
