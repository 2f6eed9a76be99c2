#include "radius/radius_accountant.h"

#include "client/client.h"
#include "client/portal_instance_interface.h"
#include "core/data_parser.h"
#include "core/logger.h"
#include "core/singleton.h"
#include "device/factory_data.h"
#include "ostrel/clock.h"
#include "radius/radius_mapper.h"
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

// A scenario's figures may be older than the driver's last report, which has been noted already.
// Only a report of the driver itself may say that its counters began anew.
bool isBehind(const ostrel::StationCounters& stats, const ostrel::StationCounters& last) {
    return stats.rxBytes < last.rxBytes || stats.txBytes < last.txBytes ||
           stats.uptime < last.uptime;
}

}  // namespace

bool RadiusAccountant::sendAccountingStartMessage(const Client& client) {
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
    RadiusMessagePtr msg(librad_create_accounting_sta_start(&config_.client, sta));
    if (!sendAccounting(std::move(msg), client, RadiusChannel::NasAddress::current)) {
        return false;
    }
    sta->lastAccountingTime = ostrel::monotonicSeconds();
    return true;
}

bool RadiusAccountant::sendAccountingUpdateMessage(const Client& client,
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
    RadiusMessagePtr msg(librad_create_accounting_sta_update(
        &config_.client, sta, isBehind(stats, sta->traffic.last) ? nullptr : &stats));
    if (!sendAccounting(std::move(msg), client, RadiusChannel::NasAddress::lastKnown)) {
        return false;
    }
    logger().Debug("%s: Accounting update sended for %s\n", "sendAccountingUpdateMessage",
                   client.getMacAddress().c_str());
    return true;
}

bool RadiusAccountant::sendAccountingStopMessage(const Client& client,
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
    RadiusMessagePtr msg(librad_create_accounting_sta_stop(
        &config_.client, sta, isBehind(stats, sta->traffic.last) ? nullptr : &stats));
    if (!sendAccounting(std::move(msg), client, RadiusChannel::NasAddress::lastKnown)) {
        return false;
    }
    logger().Debug("%s: Accounting stop sended for %s\n", "sendAccountingStopMessage", mac.c_str());
    return true;
}

bool RadiusAccountant::sendAccounting(RadiusMessagePtr msg, const Client& client,
                                      RadiusChannel::NasAddress which) {
    if (!msg || !channel_.insertAdditionAttributes(msg.get(), which) ||
        !RadiusChannel::insertClientAdditionAttributes(msg.get(), client.getIpAddress(),
                                                       client.getMtu())) {
        return false;
    }
    if (!channel_.send(std::move(msg), LIBRAD_RADIUS_ACCT, client.getMac().bytes().data())) {
        logger().Error("Failed to send accounting message for %s\n",
                       client.getMacAddress().c_str());
        return false;
    }
    return true;
}

}  // namespace vesta
