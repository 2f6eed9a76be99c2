// The sessions of stations as the accounting server is told of them.

#include "client/client.h"
#include "core/data_parser.h"
#include "core/logger.h"
#include "core/singleton.h"
#include "device/factory_data.h"
#include "ostrel/clock.h"
#include "radius/radius_mapper.h"
#include "radius/radius_worker.h"
#include "station/client_statistic_info.h"

namespace vesta {
namespace {

std::uint32_t vapIndexOf(const std::string& interfaceName) {
    try {
        const int index = DataParser::extractVapIndexes(interfaceName).second;
        return index > 0 ? static_cast<std::uint32_t>(index) : 0;
    } catch (PARSER_EXCEPTION_TYPE) {
        return 0;
    }
}

void fillSta(librad_radius_sta_info& sta, const Client& client) {
    librad_radius_sta_set_mac(&sta, client.getMac().bytes().data());
    sta.userName = client.getLogin();
    sta.vapIndex = vapIndexOf(client.getInterface());
    sta.interfaceText = client.getInterface();
    sta.calledMac = MacAddr(Singleton<Factory>::getInstance().getSecondMac()).bytes();
    sta.ssid = client.getOwner().getSsid();
}

// What a scenario knows may be older than the driver's last report, which has been noted already;
// only a report of the driver may say that its counters began anew.
bool isBehind(const librad_radius_sta_stats& stats, const librad_radius_sta_stats& last) {
    return stats.rxBytes < last.rxBytes || stats.txBytes < last.txBytes ||
           stats.uptime < last.uptime;
}

}  // namespace

bool RadiusWorker::informClientAuthenticated(std::shared_ptr<Client> client, ClientStatisticInfo&) {
    if (!accounts()) {
        return true;
    }
    if (!client->isConnected()) {
        logger().Debug("%s,%d,accounting: don't send start packet for disconnected client %s\n",
                       "informClientAuthenticated", 972, client->getMacAddress().c_str());
        return true;
    }
    return sendAccountingStartMessage(*client);
}

bool RadiusWorker::informUpdateClient(std::shared_ptr<Client> client,
                                      ClientStatisticInfo& statistics) {
    return !accounts() || config_.acctInterval == 0 ||
           sendAccountingUpdateMessage(*client, statistics);
}

bool RadiusWorker::informClientDeuthenticated(std::shared_ptr<Client> client,
                                              ClientStatisticInfo& statistics) {
    if (!accounts()) {
        return true;
    }
    if (!client->isConnected()) {
        logger().Debug("%s,%d,accounting: don't send stop packet for disconnected client %s\n",
                       "informClientDeuthenticated", 991, client->getMacAddress().c_str());
        return true;
    }
    return sendAccountingStopMessage(*client, statistics);
}

bool RadiusWorker::informClientConnected(std::shared_ptr<Client>, ClientStatisticInfo&) {
    return true;
}

bool RadiusWorker::informClientDisconnected(std::shared_ptr<Client> client,
                                            ClientStatisticInfo& statistics) {
    return !accounts() || sendAccountingStopMessage(*client, statistics);
}

bool RadiusWorker::informClientRemoved(std::shared_ptr<Client> client,
                                       ClientStatisticInfo& statistics) {
    const bool told = !accounts() || sendAccountingStopMessage(*client, statistics);
    pending_.forget(*client);
    deleteSta(client->getRadiusSta());
    client->setRadiusSta(nullptr);
    return told;
}

void RadiusWorker::noteStatistic(const Client& client, const ClientStatisticInfo& statistics) {
    librad_radius_sta_info* const sta = client.getRadiusSta();
    if (accounts() && sta != nullptr) {
        const librad_radius_sta_stats stats = RadiusMapper::toStaStats(statistics, "");
        librad_radius_sta_set_counters(sta, &stats);
    }
}

bool RadiusWorker::sendAccountingStartMessage(const Client& client) {
    librad_radius_sta_info* const sta = client.getRadiusSta();
    if (sta == nullptr) {
        logger().Error("Can't create sta entry\n");
        return false;
    }
    if (sta->started) {
        logger().Error("Try to send accounting start for client with already started accounting\n");
        return false;
    }
    if (client.getLogin().empty()) {
        logger().Error("Try to send accounting start for not client without login\n");
        return false;
    }
    logger().Debug("%s: started for client %s\n", "sendAccountingStartMessage",
                   client.getLogin().c_str());
    fillSta(*sta, client);
    MessagePtr msg(librad_create_accounting_sta_start(&config_.client, sta));
    if (!sendAccounting(std::move(msg), client, NasAddress::current)) {
        return false;
    }
    sta->lastAccountingTime = ostrel::monotonicSeconds();
    return true;
}

bool RadiusWorker::sendAccountingUpdateMessage(const Client& client,
                                               const ClientStatisticInfo& statistics) {
    librad_radius_sta_info* const sta = client.getRadiusSta();
    if (sta == nullptr || !sta->started) {
        return false;
    }
    const std::int64_t now = ostrel::monotonicSeconds();
    if (now - sta->lastAccountingTime < static_cast<std::int64_t>(config_.acctInterval)) {
        return true;
    }
    sta->lastAccountingTime = now;
    const librad_radius_sta_stats stats =
        RadiusMapper::toStaStats(statistics, client.getInterface());
    MessagePtr msg(librad_create_accounting_sta_update(
        &config_.client, sta, isBehind(stats, sta->traffic.last) ? nullptr : &stats));
    if (!sendAccounting(std::move(msg), client, NasAddress::lastKnown)) {
        return false;
    }
    logger().Debug("%s: Accounting update sended for %s\n", "sendAccountingUpdateMessage",
                   client.getMacAddress().c_str());
    return true;
}

bool RadiusWorker::sendAccountingStopMessage(const Client& client,
                                             const ClientStatisticInfo& statistics) {
    const std::string mac = client.getMacAddress();
    logger().Debug("%s: started for %s\n", "sendAccountingStopMessage", mac.c_str());
    librad_radius_sta_info* const sta = client.getRadiusSta();
    if (sta == nullptr || !sta->started) {
        logger().Error("%s: try stop accounting for client %s with not started accounting\n",
                       "sendAccountingStopMessage", mac.c_str());
        return false;
    }
    sta->terminateCause = RadiusMapper::reasonToAcctTerm(statistics.endReason);
    logger().Debug("%s: client found\n", "sendAccountingStopMessage");
    const librad_radius_sta_stats stats =
        RadiusMapper::toStaStats(statistics, client.getInterface());
    MessagePtr msg(librad_create_accounting_sta_stop(
        &config_.client, sta, isBehind(stats, sta->traffic.last) ? nullptr : &stats));
    if (!sendAccounting(std::move(msg), client, NasAddress::lastKnown)) {
        return false;
    }
    logger().Debug("%s: Accounting stop sended for %s\n", "sendAccountingStopMessage", mac.c_str());
    return true;
}

bool RadiusWorker::sendAccounting(MessagePtr msg, const Client& client, NasAddress which) {
    if (!msg || !insertAdditionAttributes(msg.get(), which) ||
        !insertClientAdditionAttributes(msg.get(), client.getIpAddress(), client.getMtu())) {
        return false;
    }
    if (!send(std::move(msg), LIBRAD_RADIUS_ACCT, client.getMac().bytes().data())) {
        logger().Error("Failed to send accounting message for %s\n",
                       client.getMacAddress().c_str());
        return false;
    }
    return true;
}

}  // namespace vesta
