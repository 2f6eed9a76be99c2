#include "auth/radius_authenticator.h"

#include <utility>

#include "auth/radius_answer.h"
#include "radius/radius_worker.h"

namespace vesta {

RadiusAuthenticator::RadiusAuthenticator(std::shared_ptr<RadiusWorker> radiusWorker,
                                         PortalInstanceInterface& instance)
    : radiusWorker_(std::move(radiusWorker)), instance_(instance) {
    radiusWorker_->addAuthPacketHandler(this, handleRadiusMessage);
}

int RadiusAuthenticator::makeAuthenticate(std::shared_ptr<Client> client, const std::string& login,
                                          const std::string&) {
    radiusWorker_->sendAuthPacket(std::move(client), login);
    return AUTHENTICATION_PENDING;
}

librad_radius_rx_result RadiusAuthenticator::handleRadiusMessage(librad_radius_msg* msg,
                                                                 librad_radius_msg* request,
                                                                 unsigned char* sharedSecret,
                                                                 unsigned int secretLength,
                                                                 void* self) {
    RadiusAuthenticator& authenticator = *static_cast<RadiusAuthenticator*>(self);
    const auto [result, client] =
        authenticator.radiusWorker_->receiveMessage(msg, request, sharedSecret, secretLength);
    if (!client) {
        return result;
    }
    if (result == LIBRAD_RADIUS_RX_ACCEPT) {
        keepClasses(authenticator.instance_, client, *msg);
        authenticator.instance_.set_auth_scenario_client(client);
    } else {
        throwOut(authenticator.instance_, client);
    }
    return result;
}

}  // namespace vesta
