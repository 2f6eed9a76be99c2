#include "radius/radius_worker.h"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <thread>

#include "client/client.h"
#include "core/data_parser.h"
#include "core/logger.h"
#include "core/singleton.h"
#include "device/factory_data.h"
#include "device/network_interface.h"
#include "radius/radius_listener.h"
#include "radius/radius_mapper.h"
#include "station/client_statistic_info.h"

namespace vesta {

RadiusWorker::RadiusWorker(std::shared_ptr<MessageEntry> config, const std::string& interfaceName,
                           RadiusWorkmode workmode, AUTH_MODE authMode,
                           const std::string& instanceName, std::chrono::seconds retryDelay)
    : workmode_(workmode),
      authMode_(authMode),
      interfaceName_(interfaceName),
      config_(readRadiusConfig(*config, workmode, instanceName)),
      pending_(authMode == AUTH_MODE_PORTAL_MAC) {
    logger().Debug("%s started\n", "RadiusWorker");
    initRadiusClient(retryDelay);
    Singleton<RadiusListener>::getInstance().run();
    logger().Debug("%s ended\n", "RadiusWorker");
}

RadiusWorker::~RadiusWorker() {
    close();
}

void RadiusWorker::close() {
    librad_radius_client_deinit(std::exchange(radiusClient_, nullptr));
}

void RadiusWorker::initRadiusClient(std::chrono::seconds retryDelay) {
    constexpr int kAttempts = 3;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        logger().Debug("Attempt(%d) to initialize RADIUS client.\n", attempt);
        radiusClient_ = librad_radius_client_init(&config_.client);
        if (radiusClient_ != nullptr) {
            return;
        }
        std::this_thread::sleep_for(retryDelay);
    }
    logger().Error("Colud not initialize RADIUS client.\n");
    throw std::runtime_error("RADIUS init error");
}

void RadiusWorker::addAuthPacketHandler(void* context, librad_radius_handler handler) {
    handlerContext_ = context;
    handler_ = handler;
    librad_radius_client_set_handler(radiusClient_, onAnswer, this);
    librad_radius_client_set_give_up(radiusClient_, onGiveUp, this);
}

librad_radius_rx_result RadiusWorker::onAnswer(librad_radius_msg* msg, librad_radius_msg* request,
                                               unsigned char* secret, unsigned int secretLength,
                                               void* self) {
    const RadiusWorker& worker = *static_cast<RadiusWorker*>(self);
    try {
        return worker.handler_(msg, request, secret, secretLength, worker.handlerContext_);
    } catch (const std::exception& problem) {
        logger().Error("RADIUS answer could not be handled: %s\n", problem.what());
    } catch (...) {
        logger().Error("RADIUS answer could not be handled\n");
    }
    return LIBRAD_RADIUS_RX_UNKNOWN;
}

void RadiusWorker::onGiveUp(librad_radius_msg* request, void* self) {
    try {
        static_cast<RadiusWorker*>(self)->pending_.abandon(PendingRequests::keyOf(request));
    } catch (const std::exception& problem) {
        logger().Error("RADIUS request could not be given up: %s\n", problem.what());
    }
}

RadiusSharedKey RadiusWorker::getRadiusSharedKey() {
    std::vector<librad_radius_server>& servers =
        accounts() ? config_.client.acctServers : config_.client.authServers;
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

bool RadiusWorker::insertAdditionAttributes(librad_radius_msg* msg, NasAddress which) {
    const std::optional<in_addr> current = interfaceIpv4(interfaceName_);
    if (current) {
        lastNasAddress_ = current->s_addr;
    } else {
        logger().Error("Could not get NAS-IP_address\n");
    }
    const std::uint32_t address = lastNasAddress_;
    if (!current && (which == NasAddress::current || address == 0)) {
        return false;
    }
    if (!librad_radius_msg_add_attr(msg, LIBRAD_RADIUS_ATTR_NAS_IP_ADDRESS, &address,
                                    sizeof address)) {
        logger().Error("Could not add NAS-IP_address\n");
        return false;
    }
    const std::string& identifier = Singleton<Factory>::getInstance().getMac();
    logger().Debug("%s,%d,NAS-Identifier: %s\n", "insertAdditionAttributes", 259,
                   identifier.c_str());
    if (!librad_radius_msg_add_attr(msg, LIBRAD_RADIUS_ATTR_NAS_IDENTIFIER, identifier.data(),
                                    identifier.size())) {
        logger().Error("Could not add NAS-Identifier\n");
        return false;
    }
    return true;
}

bool RadiusWorker::insertClientAdditionAttributes(librad_radius_msg* msg, const std::string& ip,
                                                  std::uint32_t mtu) {
    if (msg == nullptr) {
        logger().Error("Could not add client information, msg is NULL\n");
        return false;
    }
    // A station that has just come may have no address yet, which is no reason to refuse it.
    const std::uint32_t address = DataParser::castStringToRawIpv4(ip);
    if (address != 0) {
        logger().Debug("Framed-IP-Address: %s\n", ip.c_str());
        if (!librad_radius_msg_add_attr(msg, LIBRAD_RADIUS_ATTR_FRAMED_IP_ADDRESS, &address,
                                        sizeof address)) {
            logger().Error("Could not add Framed-IP-Address\n");
            return false;
        }
    }
    logger().Debug("Framed-MTU: %u\n", mtu);
    if (!librad_radius_msg_add_attr_int32(msg, LIBRAD_RADIUS_ATTR_FRAMED_MTU, mtu)) {
        logger().Error("Could not add Framed-MTU\n");
        return false;
    }
    return true;
}

bool RadiusWorker::send(MessagePtr msg, librad_radius_kind kind, const unsigned char* mac) {
    if (librad_radius_client_send(radiusClient_, msg.get(), kind, mac) < 0) {
        return false;
    }
    // The library's from here on.
    [[maybe_unused]] const librad_radius_msg* given = msg.release();
    return true;
}

}  // namespace vesta
