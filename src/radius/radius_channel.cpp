#include "radius/radius_channel.h"

#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>

#include "core/data_parser.h"
#include "core/singleton.h"
#include "device/factory_data.h"
#include "device/network_interface.h"

namespace vesta {

RadiusChannel::RadiusChannel(const librad_radius_client_config& config,
                             const std::string& interfaceName, std::chrono::seconds retryDelay)
    : interfaceName_(interfaceName) {
    initRadiusClient(config, retryDelay);
}

void RadiusChannel::close() {
    librad_radius_client_deinit(std::exchange(radiusClient_, nullptr));
}

void RadiusChannel::initRadiusClient(const librad_radius_client_config& config,
                                     std::chrono::seconds retryDelay) {
    constexpr int kAttempts = 3;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        logger().Debug("Attempt(%d) to initialize RADIUS client.\n", attempt);
        radiusClient_ = librad_radius_client_init(&config);
        if (radiusClient_ != nullptr) {
            return;
        }
        std::this_thread::sleep_for(retryDelay);
    }
    logger().Error("Colud not initialize RADIUS client.\n");
    throw std::runtime_error("RADIUS init error");
}

void RadiusChannel::setHandler(void* context, librad_radius_handler handler) {
    librad_radius_client_set_handler(radiusClient_, handler, context);
}

void RadiusChannel::setGiveUp(void* context, librad_radius_give_up giveUp) {
    librad_radius_client_set_give_up(radiusClient_, giveUp, context);
}

RadiusMessagePtr RadiusChannel::newAccessRequest(const unsigned char* mac) {
    RadiusMessagePtr msg(librad_radius_msg_new(LIBRAD_RADIUS_CODE_ACCESS_REQUEST,
                                               librad_radius_client_get_id(radiusClient_)));
    constexpr std::size_t kMacLength = 6;
    if (!msg || !librad_radius_msg_make_authenticator(msg.get(), mac, kMacLength)) {
        return nullptr;
    }
    return msg;
}

bool RadiusChannel::insertAdditionAttributes(librad_radius_msg* msg, NasAddress which) {
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

bool RadiusChannel::insertClientAdditionAttributes(librad_radius_msg* msg, const std::string& ip,
                                                   std::uint32_t mtu) {
    if (msg == nullptr) {
        logger().Error("Could not add client information, msg is NULL\n");
        return false;
    }
    // A station that has just come may have no address yet. That is no reason to refuse it.
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

bool RadiusChannel::send(RadiusMessagePtr msg, librad_radius_kind kind, const unsigned char* mac) {
    if (librad_radius_client_send(radiusClient_, msg.get(), kind, mac) < 0) {
        return false;
    }
    // The library's from here on.
    [[maybe_unused]] const librad_radius_msg* given = msg.release();
    return true;
}

}  // namespace vesta
