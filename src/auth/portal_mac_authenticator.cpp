#include "auth/portal_mac_authenticator.h"

#include <utility>

#include "auth/radius_answer.h"
#include "client/client.h"
#include "core/data_parser.h"
#include "core/logger.h"
#include "radius/radius_worker.h"

namespace vesta {
namespace {

// Every station sends this, so that the server decides by the name alone.
const char* const kPassword = "PLACEHOLDR";

// The value of the attribute that says whether the server knows the station; nothing when it is
// absent or too short to be a 32-bit integer.
std::optional<std::uint32_t> knownStation(const librad_radius_msg& msg) {
    unsigned int length = 0;
    const unsigned char* const value = librad_radius_msg_get_ostrel_attr(
        &msg, PortalMacAuthenticator::kKnownStationAttribute, &length);
    if (value == nullptr || length == 0) {
        return std::nullopt;
    }
    if (length < sizeof(std::uint32_t)) {
        logger().Warning("RADIUS: vendor attribute %d of %u bytes is no integer, ignored\n",
                         PortalMacAuthenticator::kKnownStationAttribute, length);
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(value[0]) << 24 | static_cast<std::uint32_t>(value[1]) << 16 |
           static_cast<std::uint32_t>(value[2]) << 8 | value[3];
}

void keepRedirectUrl(PortalInstanceInterface& instance, const std::shared_ptr<Client>& client,
                     const librad_radius_msg& msg) {
    unsigned int length = 0;
    const char* const url = reinterpret_cast<const char*>(librad_radius_msg_get_ostrel_attr(
        &msg, PortalMacAuthenticator::kRedirectUrlAttribute, &length));
    if (url == nullptr || length == 0) {
        return;
    }
    logger().Debug("Set redirect URL from RADIUS \"%.*s\":[%d] for %s\n", static_cast<int>(length),
                   url, static_cast<int>(length), client->getMacAddress().c_str());
    instance.changeClient(client, [&](Client& changed) { changed.setRedirectUrl(url, length); });
}

}  // namespace

PortalMacAuthenticator::PortalMacAuthenticator(std::shared_ptr<RadiusWorker> radiusWorker,
                                               PortalInstanceInterface& instance)
    : radiusWorker_(std::move(radiusWorker)), instance_(instance) {
    radiusWorker_->addAuthPacketHandler(this, handleRadiusMessage);
}

bool PortalMacAuthenticator::authConnectedUser(std::shared_ptr<Client> client) {
    const std::string mac = client->getMacAddress();
    if (mac.empty()) {
        logger().Error("Mac is empty, can't auth or radius server\n");
        return false;
    }
    const std::string login = DataParser::castMacToLogin(mac);
    client->setLogin(login);
    client->setPassword(kPassword);
    radiusWorker_->sendAuthPacket(std::move(client), login);
    return true;
}

void PortalMacAuthenticator::authUnansweredUsers() {
    for (const std::shared_ptr<Client>& client : radiusWorker_->takeUnanswered()) {
        if (client->isConnected() && !client->isAccessOpen()) {
            authConnectedUser(client);
        }
    }
}

librad_radius_rx_result PortalMacAuthenticator::handleRadiusMessage(librad_radius_msg* msg,
                                                                    librad_radius_msg* request,
                                                                    unsigned char* sharedSecret,
                                                                    unsigned int secretLength,
                                                                    void* self) {
    PortalMacAuthenticator& authenticator = *static_cast<PortalMacAuthenticator*>(self);
    const auto [result, client] =
        authenticator.radiusWorker_->receiveMessage(msg, request, sharedSecret, secretLength);
    if (!client) {
        return result;
    }
    if (result == LIBRAD_RADIUS_RX_ACCEPT) {
        authenticator.applyAccept(client, *msg);
    } else {
        throwOut(authenticator.instance_, client);
    }
    return result;
}

void PortalMacAuthenticator::applyAccept(const std::shared_ptr<Client>& client,
                                         const librad_radius_msg& msg) {
    keepClasses(instance_, client, msg);
    const std::optional<std::uint32_t> known = knownStation(msg);
    if (!known) {
        return;
    }
    if (*known != 0) {
        instance_.setMacAuthSuccessScenario(client);
        return;
    }
    keepRedirectUrl(instance_, client, msg);
    instance_.setMacAuthFailureScenario(client);
}

}  // namespace vesta
