#include "radius/radius_worker.h"

#include <utility>

#include "client/client.h"
#include "core/logger.h"
#include "core/singleton.h"
#include "radius/radius_listener.h"
#include "radius/radius_mapper.h"
#include "station/client_statistic_info.h"

namespace vesta {
namespace {

RadiusConfig startedConfig(MessageEntry& config, RadiusWorkmode workmode,
                           const std::string& instanceName) {
    logger().Debug("%s started\n", "RadiusWorker");
    return readRadiusConfig(config, workmode, instanceName);
}

}  // namespace

RadiusWorker::RadiusWorker(std::shared_ptr<MessageEntry> config, const std::string& interfaceName,
                           RadiusWorkmode workmode, AUTH_MODE authMode,
                           const std::string& instanceName, std::chrono::seconds retryDelay)
    : config_(startedConfig(*config, workmode, instanceName)),
      channel_(config_.client, interfaceName, retryDelay),
      asker_(channel_, config_, authMode) {
    if ((workmode & RADIUS_WORKMODE_ACCOUNTING) != 0) {
        accountant_.emplace(channel_, config_);
    }
    Singleton<RadiusListener>::getInstance().run();
    logger().Debug("%s ended\n", "RadiusWorker");
}

void RadiusWorker::close() {
    channel_.close();
}

bool RadiusWorker::sendAuthPacket(std::shared_ptr<Client> client, const std::string& login) {
    const std::string password = client->getPassword();
    return sendAuthPacket(std::move(client), login, password);
}

bool RadiusWorker::sendAuthPacket(std::shared_ptr<Client> client, const std::string& login,
                                  const std::string& password) {
    return asker_.sendAuthPacket(std::move(client), login, password);
}

RadiusAnswer RadiusWorker::receiveMessage(librad_radius_msg* msg, librad_radius_msg* request,
                                          unsigned char* secret, unsigned int secretLength) {
    return asker_.receiveMessage(msg, request, secret, secretLength);
}

void RadiusWorker::addAuthPacketHandler(void* context, librad_radius_handler handler) {
    channel_.setHandler(context, handler);
}

std::vector<std::shared_ptr<Client>> RadiusWorker::takeUnanswered() {
    return asker_.takeUnanswered();
}

bool RadiusWorker::sendChallengeResp(librad_radius_msg* request, std::uint8_t eapId,
                                     std::string_view challenge, std::string_view state) {
    return asker_.sendChallengeResp(request, eapId, challenge, state);
}

RadiusSharedKey RadiusWorker::getRadiusSharedKey() {
    std::vector<librad_radius_server>& servers =
        accountant_ ? config_.client.acctServers : config_.client.authServers;
    if (servers.empty()) {
        return {nullptr, 0};
    }
    librad_secret& secret = servers.front().sharedSecret;
    return {secret.data(), secret.size()};
}

void RadiusWorker::freeMessage(librad_radius_msg* msg) {
    librad_radius_msg_free(msg);
}

librad_radius_sta_info* RadiusWorker::createSta() {
    return librad_allocate_radius_sta();
}

void RadiusWorker::deleteSta(librad_radius_sta_info* sta) {
    librad_free_radius_sta(sta);
}

bool RadiusWorker::getStaFromList(std::uint32_t high, std::uint32_t low, unsigned char* mac) {
    return librad_find_radius_sta_by_acct_id(high, low, mac);
}

bool RadiusWorker::getStaFromList(const char* sessionId, unsigned char* mac) {
    const auto words = RadiusMapper::parseSessionId(sessionId);
    return words && getStaFromList(words->first, words->second, mac);
}

bool RadiusWorker::fillClientIdentityOnAcctId(ClientIdentity& identity) {
    MacAddr::Bytes mac{};
    if (!getStaFromList(identity.accounting_id.c_str(), mac.data())) {
        return false;
    }
    identity.mac = MacAddr(mac);
    return true;
}

bool RadiusWorker::informClientAuthenticated(std::shared_ptr<Client> client, ClientStatisticInfo&) {
    if (!accountant_) {
        return true;
    }
    if (!client->isConnected()) {
        logger().Debug("%s,%d,accounting: don't send start packet for disconnected client %s\n",
                       "informClientAuthenticated", 972, client->getMacAddress().c_str());
        return true;
    }
    return accountant_->sendAccountingStartMessage(*client);
}

bool RadiusWorker::informUpdateClient(std::shared_ptr<Client> client,
                                      ClientStatisticInfo& statistics) {
    return !accountant_ || config_.acctInterval == 0 ||
           accountant_->sendAccountingUpdateMessage(*client, statistics);
}

bool RadiusWorker::informClientDeuthenticated(std::shared_ptr<Client> client,
                                              ClientStatisticInfo& statistics) {
    if (!accountant_) {
        return true;
    }
    if (!client->isConnected()) {
        logger().Debug("%s,%d,accounting: don't send stop packet for disconnected client %s\n",
                       "informClientDeuthenticated", 991, client->getMacAddress().c_str());
        return true;
    }
    return accountant_->sendAccountingStopMessage(*client, statistics);
}

bool RadiusWorker::informClientConnected(std::shared_ptr<Client>, ClientStatisticInfo&) {
    return true;
}

bool RadiusWorker::informClientDisconnected(std::shared_ptr<Client> client,
                                            ClientStatisticInfo& statistics) {
    return !accountant_ || accountant_->sendAccountingStopMessage(*client, statistics);
}

bool RadiusWorker::informClientRemoved(std::shared_ptr<Client> client,
                                       ClientStatisticInfo& statistics) {
    const bool told = !accountant_ || accountant_->sendAccountingStopMessage(*client, statistics);
    asker_.forget(*client);
    deleteSta(client->getRadiusSta());
    client->setRadiusSta(nullptr);
    return told;
}

void RadiusWorker::noteStatistic(const Client& client, const ClientStatisticInfo& statistics) {
    librad_radius_sta_info* const sta = client.getRadiusSta();
    if (accountant_ && sta != nullptr) {
        const librad_radius_sta_stats stats = RadiusMapper::toStaStats(statistics, "");
        librad_radius_sta_set_counters(sta, &stats);
    }
}

}  // namespace vesta
