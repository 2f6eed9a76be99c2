#include "radius/radius_das_handler.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "core/logger.h"
#include "core/singleton.h"
#include "device/factory_data.h"
#include "device/network_interface.h"
#include "radius/radius_channel.h"
#include "radius/radius_listener.h"
#include "station/command_info.h"

namespace vesta {
namespace {

constexpr int kDisconnected = 0;
constexpr int kNotFound = 3;
constexpr int kRetrySeconds = 60;
constexpr const char* kFailure = "RADIUS disconnect request could not be handled";

}  // namespace

RadiusDasHandler::RadiusDasHandler(std::shared_ptr<SessionDirectory> portal, std::uint16_t port)
    : portal_(std::move(portal)) {
    librad_radius_das_config config;
    config.disconnect = handleDasDissconnect;
    config.getSharedKey = getSharedKey;
    config.retrySeconds = kRetrySeconds;
    das_ = librad_radius_das_init2(port, 0, 0, this, config, nullptr);
}

RadiusDasHandler::~RadiusDasHandler() {
    librad_radius_das_deinit(das_);
}

void RadiusDasHandler::run() {
    Singleton<RadiusListener>::getInstance().run();
}

std::uint16_t RadiusDasHandler::getPort() const {
    const librad_radius_das* const das = das_;
    return das != nullptr ? librad_radius_das_get_port(das) : 0;
}

unsigned char* RadiusDasHandler::getSharedKey(void* self, unsigned int* length,
                                              librad_radius_das_attrs* attrs) {
    RadiusDasHandler& handler = *static_cast<RadiusDasHandler*>(self);
    *length = 0;
    return withoutException<unsigned char*>(kFailure, nullptr, [&] {
        handler.tellNas();
        ClientIdentity identity = extractDefiningAttributes(attrs);
        const RadiusSharedKey key = handler.portal_->getClientRadiusSharedKey(identity);
        logger().StrangerDebug("shared key geted\n");
        *length = key.second;
        return key.first;
    });
}

int RadiusDasHandler::handleDasDissconnect(void* self, librad_radius_das_attrs* attrs) {
    RadiusDasHandler& handler = *static_cast<RadiusDasHandler*>(self);
    return withoutException(kFailure, kNotFound, [&] {
        ClientIdentity identity = extractDefiningAttributes(attrs);
        logger().Debug("Recevie Das disconnect message with attributes %s\n",
                       identity.to_string().c_str());
        if (!handler.portal_->disconnectClient(identity, CommandInfo(END_REASON_RADIUS_REQUEST))) {
            return kNotFound;
        }
        logger().Debug("DaS dessconnect request successfully performed\n");
        return kDisconnected;
    });
}

ClientIdentity RadiusDasHandler::extractDefiningAttributes(const librad_radius_das_attrs* attrs) {
    ClientIdentity identity;
    MacAddr::Bytes mac;
    std::copy_n(attrs->mac, mac.size(), mac.begin());
    identity.mac = MacAddr(mac);
    if (attrs->userName != nullptr) {
        identity.username = getArgumentCopy(attrs->userName, attrs->userNameLength);
    }
    if (attrs->acctSessionId != nullptr) {
        identity.accounting_id = getArgumentCopy(attrs->acctSessionId, attrs->acctSessionIdLength);
    }
    return identity;
}

std::string RadiusDasHandler::getArgumentCopy(unsigned char* data, unsigned int length) {
    return {reinterpret_cast<const char*>(data), length};
}

// The uplink's address may change while the daemon runs, so it is told before each request.
void RadiusDasHandler::tellNas() {
    librad_radius_das* const das = das_;
    if (das == nullptr) {
        return;
    }
    const std::optional<in_addr> address = interfaceIpv4(portal_->getUplink());
    librad_radius_das_set_nas(
        das, address ? reinterpret_cast<const unsigned char*>(&address->s_addr) : nullptr,
        Singleton<Factory>::getInstance().getMac());
}

}  // namespace vesta
