#pragma once

// Has the traffic shaper module limit the speed of the stations of one instance. Each event opens
// the module's control file, writes one command and closes it.

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

    // Both return false when the control file can't be opened. Nothing is written for a station
    // without limits, except its deletion.
    bool applyClientConstraints(std::shared_ptr<Client>);
    bool deleteClientConstraints(std::shared_ptr<Client>);

private:
    std::string instanceName_;
};

}  // namespace vesta
