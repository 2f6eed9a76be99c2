#pragma once

// Tells the Wi-Fi driver which stations are authorised: each write to its control file is one
// record. A system without that file has no such driver; then nothing is written or logged.

#include <memory>
#include <string>

#include "client/informator.h"

namespace vesta {

class OstrelWifiAuthInformator final : public Informator {
public:
    bool informClientAuthenticated(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informClientDeuthenticated(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informClientDrop(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informClientRemoved(std::shared_ptr<Client>, ClientStatisticInfo&) override;
};

}  // namespace vesta
