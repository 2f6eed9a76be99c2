#pragma once

// The informators of an instance, in the order in which they are told of its stations.
//
// Threads: under the lock of the instance.

#include <memory>
#include <vector>

#include "client/informator.h"

namespace vesta {

class ModuleFile;

// The informators that serve every instance of the portal; a null one is left out.
struct SharedInformators {
    std::shared_ptr<Informator> redirector;
    std::shared_ptr<Informator> traps;
    std::shared_ptr<Informator> wifiAuth;
    // Through which each instance's own shaper worker writes.
    std::shared_ptr<ModuleFile> shaperFile;
};

class Informators {
public:
    using ClientPtr = std::shared_ptr<Client>;
    using Call = bool (Informator::*)(ClientPtr, ClientStatisticInfo&);

    // Puts the instance's own informators and the shared ones in their order. Each may be null. One
    // that is added later comes last.
    Informators(std::shared_ptr<Informator> accounting, std::shared_ptr<Informator> shaper,
                const SharedInformators& shared);

    void add(std::shared_ptr<Informator> informator);

    // Calls the operation on every informator in order, whatever one of them returns or throws.
    void informatorsHandle(const ClientPtr& client, ClientStatisticInfo& statistics,
                           Call call) const;
    // Tells them what the client's current scenario means for it.
    void handleClientScenarioChange(const ClientPtr& client, ClientStatisticInfo& statistics) const;

private:
    std::vector<std::shared_ptr<Informator>> informators_;
};

}  // namespace vesta
