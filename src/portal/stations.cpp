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
    if (table_.size() > kMaxStations) {
        end(table_.longestAbsent(), END_REASON_DISCONNECTED, Deauth::no);
    }
}

std::string Stations::claimAddress(const MacAddr& mac, const std::string& ip) {
    if (ip.empty() || ip == "0.0.0.0") {
        return "";
    }
    const ClientPtr holder = table_.find(ClientIdentity({}, ip, "", ""));
    if (holder && holder->getMac() != mac) {
        logger().Warning("Client %s has the address %s of client %s now\n", mac.to_string().c_str(),
                         ip.c_str(), holder->getMacAddress().c_str());
        setAddress(holder, "");
    }
    return ip;
}

void Stations::setAddress(const ClientPtr& client, const std::string& ip) {
    const bool changes = client->getIpAddress() != ip;
    client->setIpAddress(ip);
    if (changes) {
        ClientStatisticInfo statistics = client->getStatistic();
        informators_.informatorsHandle(client, statistics, &Informator::informClientAddressChanged);
    }
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
