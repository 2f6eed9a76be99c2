#include "auth/radius_authenticator.h"

#include <utility>
#include <variant>

#include "client/client.h"
#include "radius/radius_worker.h"
#include "station/command_info.h"

namespace vesta {

ServerAuthenticator::ServerAuthenticator(std::shared_ptr<RadiusWorker> radiusWorker,
                                         PortalInstanceInterface& instance)
    : radiusWorker_(std::move(radiusWorker)), instance_(instance) {
    radiusWorker_->addAuthPacketHandler(this, handleRadiusMessage);
}

librad_radius_rx_result ServerAuthenticator::handleRadiusMessage(librad_radius_msg* msg,
                                                                 librad_radius_msg* request,
                                                                 unsigned char* sharedSecret,
                                                                 unsigned int secretLength,
                                                                 void* self) {
    ServerAuthenticator& authenticator = *static_cast<ServerAuthenticator*>(self);
    return withoutException("RADIUS answer could not be handled", LIBRAD_RADIUS_RX_UNKNOWN, [&] {
        const auto [result, decision] =
            authenticator.worker().receiveMessage(msg, request, sharedSecret, secretLength);
        authenticator.act(decision);
        return result;
    });
}

void ServerAuthenticator::act(const RadiusDecision& decision) {
    if (const auto* const accepted = std::get_if<AccessAccepted>(&decision)) {
        letIn(*accepted);
    } else if (const auto* const rejected = std::get_if<AccessRejected>(&decision)) {
        throwOut(rejected->client);
    }
}

void ServerAuthenticator::keepClasses(const AccessAccepted& accepted, Client& client) {
    if (librad_radius_sta_info* const sta = client.getRadiusSta()) {
        sta->classes = accepted.classes;
    }
}

void ServerAuthenticator::admit(const AccessAccepted& accepted,
                                PortalInstanceInterface::Move move) {
    const auto change = [&](Client& client) {
        keepClasses(accepted, client);
        client.setLogin(accepted.login);
    };
    instance_.changeAndMoveClient(accepted.client, change, move);
}

void ServerAuthenticator::throwOut(const std::shared_ptr<Client>& client) {
    instance_.changeClient(client, [](Client& changed) { changed.disconnect_client(); });
    instance_.delClient(client, CommandInfo(END_REASON_RADIUS_REQUEST));
}

int RadiusAuthenticator::makeAuthenticate(std::shared_ptr<Client> client, const std::string& login,
                                          const std::string& password) {
    worker().sendAuthPacket(std::move(client), login, password);
    return AUTHENTICATION_PENDING;
}

void RadiusAuthenticator::letIn(const AccessAccepted& accepted) {
    admit(accepted, &PortalInstanceInterface::set_auth_scenario_client);
}

}  // namespace vesta
