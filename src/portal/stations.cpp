#include "portal/stations.h"

#include <string>

#include "core/logger.h"
#include "station/client_statistic_info.h"

namespace vesta {
namespace {

// Stand in log records behind the name of the operation.
constexpr int kRemoveRecord = 192;
constexpr int kMoveRecord = 245;
constexpr int kNoMoveRecord = 247;

}  // namespace

void Stations::add(ClientPtr client) {
    if (table_.neverConnectedCount() >= kMaxNeverConnected) {
        end(table_.oldestNeverConnected(), END_REASON_DISCONNECTED, Deauth::no);
    }
    table_.add(std::move(client));
}

bool Stations::move(const ClientPtr& client, const ScenarioMove& move) {
    if (!table_.contains(*client)) {
        return false;
    }
    const std::string mac = client->getMacAddress();
    ClientStatisticInfo statistics = client->getStatistic(move.reason);
    logger().Debug("%s,%d,%s for %s\n", move.operation, kMoveRecord, move.action, mac.c_str());
    if (!((*client).*move.enter)()) {
        logger().Warning("%s,%d,next scenario for %s not found!\n", move.operation, kNoMoveRecord,
                         mac.c_str());
        return false;
    }
    informators_.handleClientScenarioChange(client, statistics);
    return true;
}

bool Stations::end(const ClientPtr& client, EndReason reason, Deauth deauth) {
    if (!table_.contains(*client)) {
        return false;
    }
    if (deauth == Deauth::yes) {
        client->disconnect_client();
    }
    ClientStatisticInfo statistics = client->getStatistic(reason);
    logger().Debug("%s,%d,handle client remove with reason %s\n", "handleClientRemove",
                   kRemoveRecord, CommandInfo::toString(reason).c_str());
    informators_.informatorsHandle(client, statistics, &Informator::informClientRemoved);
    table_.erase(client);
    return true;
}

}  // namespace vesta
