#pragma once

// Tells the Wi-Fi driver which stations are authorised, one record a write to its control file.
// Where there is no such file nothing is written and nothing is said.

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
