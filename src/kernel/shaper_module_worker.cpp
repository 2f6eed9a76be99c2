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

const char* operationOf(const std::string& command) {
    return command.compare(0, 7, "sta add") == 0 ? "applyClientConstraints"
                                                 : "deleteClientConstraints";
}

}  // namespace

std::shared_ptr<ModuleFile> ShaperModuleWorker::openFile() {
    return std::make_shared<ModuleFile>("shaperSender", ostrel::kShaperPath, operationOf);
}

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
    if (txMax != 0 || rxMax != 0) {
        write(mac, "sta add " + stationOf(mac) + shaping(txMax) + shaping(rxMax) + "\n",
              StateSender::Kind::lasting);
    } else if (file_->knows(stationOf(mac))) {
        writeDeletion(mac);
    }
    return true;
}

bool ShaperModuleWorker::deleteClientConstraints(std::shared_ptr<Client> client) {
    const std::string mac = client->getMacAddress();
    logger().Debug("%s called for client %s\n", "deleteClientConstraints", mac.c_str());
    writeDeletion(mac);
    return true;
}

// A module may refuse to delete what it never had.
void ShaperModuleWorker::writeDeletion(const std::string& mac) {
    const bool had = file_->knows(stationOf(mac));
    // The module takes this command without a line end.
    write(mac, "sta del " + stationOf(mac),
          had ? StateSender::Kind::end : StateSender::Kind::attempt);
}

void ShaperModuleWorker::write(const std::string& mac, const std::string& command,
                               StateSender::Kind kind) {
    std::string lines;
    StateSender::addRequest(lines, command);
    file_->write(stationOf(mac), std::move(lines), kind);
}

}  // namespace vesta
