#include "kernel/shaper_module_worker.h"

#include <cstdint>

#include "client/client.h"
#include "core/logger.h"
#include "ostrel/modules.h"

namespace vesta {
namespace {

// Mode, rate and burst of one direction, in bytes. The command has 32 bits for the rate, so a limit
// of 4 GiB/s wraps.
std::string shaping(std::uint32_t limitKiB) {
    const std::string limit = std::to_string(limitKiB << 10);
    return (limitKiB != 0 ? " 2 " : " 0 ") + limit + " " + limit;
}

bool writeCommand(const char* operation, const std::string& command) {
    if (!ostrel::writeModuleFile(ostrel::kShaperPath, command)) {
        logger().Error("%s can't open /proc/ostrel-shaper\n", operation);
        return false;
    }
    return true;
}

}  // namespace

bool ShaperModuleWorker::informClientAuthenticated(std::shared_ptr<Client> client,
                                                   ClientStatisticInfo&) {
    return applyClientConstraints(client);
}

bool ShaperModuleWorker::informUpdateClient(std::shared_ptr<Client>, ClientStatisticInfo&) {
    return true;
}

bool ShaperModuleWorker::informClientDeuthenticated(std::shared_ptr<Client> client,
                                                    ClientStatisticInfo&) {
    return deleteClientConstraints(client);
}

bool ShaperModuleWorker::informClientRemoved(std::shared_ptr<Client> client, ClientStatisticInfo&) {
    return deleteClientConstraints(client);
}

bool ShaperModuleWorker::applyClientConstraints(std::shared_ptr<Client> client) {
    const std::string mac = client->getMacAddress();
    const auto [txMax, rxMax] = client->getSpeedConstraints();
    logger().Debug("%s called for client %s with constraints txMax=%u and rxMax=%u\n",
                   "applyClientConstraints", mac.c_str(), txMax, rxMax);
    if (txMax == 0 && rxMax == 0) {
        return true;
    }
    return writeCommand("applyClientConstraints", "sta add " + instanceName_ + " " + mac +
                                                      shaping(txMax) + shaping(rxMax) + "\n");
}

bool ShaperModuleWorker::deleteClientConstraints(std::shared_ptr<Client> client) {
    const std::string mac = client->getMacAddress();
    logger().Debug("%s called for client %s\n", "deleteClientConstraints", mac.c_str());
    // The module takes this command without a line end.
    return writeCommand("deleteClientConstraints", "sta del " + instanceName_ + " " + mac);
}

}  // namespace vesta
