#pragma once

// Tells the Wi-Fi driver which stations are authorised: each write to its control file is one
// record, on the thread of the file. A system without that file has no such driver; then nothing is
// written or logged.

#include <memory>
#include <string>

#include "client/informator.h"
#include "modules/module_file.h"

namespace vesta {

class OstrelWifiAuthInformator final : public Informator {
public:
    OstrelWifiAuthInformator();

    bool informClientAuthenticated(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informClientDeuthenticated(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informClientDrop(std::shared_ptr<Client>, ClientStatisticInfo&) override;
    bool informClientRemoved(std::shared_ptr<Client>, ClientStatisticInfo&) override;

private:
    void write(const Client& client, std::string records);
    bool writeRefusal(const Client& client);

    ModuleFile file_;
};

}  // namespace vesta
