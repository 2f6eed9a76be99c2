#include "auth/portal_mac_authenticator.h"

#include <utility>

#include "client/client.h"
#include "core/data_parser.h"
#include "core/logger.h"
#include "radius/radius_worker.h"

namespace vesta {
namespace {

// Every station sends this, so that the server decides by the name alone.
const char* const kPassword = "PLACEHOLDR";

}  // namespace

bool PortalMacAuthenticator::authConnectedUser(std::shared_ptr<Client> client) {
    const std::string mac = client->getMacAddress();
    if (mac.empty()) {
        logger().Error("Mac is empty, can't auth or radius server\n");
        return false;
    }
    const std::string login = DataParser::castMacToLogin(mac);
    client->setLogin(login);
    client->setPassword(kPassword);
    worker().sendAuthPacket(std::move(client), login);
    return true;
}

void PortalMacAuthenticator::authUnansweredUsers() {
    for (const std::shared_ptr<Client>& client : worker().takeUnanswered()) {
        if (client->isConnected() && !client->isAccessOpen()) {
            authConnectedUser(client);
        }
    }
}

void PortalMacAuthenticator::letIn(const AccessAccepted& accepted) {
    const auto change = [&](Client& client) {
        keepClasses(accepted, client);
        if (accepted.stationKnown && !accepted.redirectUrl.empty()) {
            keepRedirectUrl(accepted.redirectUrl, client);
        }
    };
    if (!accepted.stationKnown) {
        instance().changeClient(accepted.client, change);
    } else if (*accepted.stationKnown) {
        admit(accepted, &PortalInstanceInterface::setMacAuthSuccessScenario);
    } else {
        instance().changeAndMoveClient(accepted.client, change,
                                       &PortalInstanceInterface::setMacAuthFailureScenario);
    }
}

void PortalMacAuthenticator::keepRedirectUrl(const std::string& url, Client& client) {
    const auto length = static_cast<unsigned int>(url.size());
    logger().Debug("Set redirect URL from RADIUS \"%s\":[%d] for %s\n", url.c_str(),
                   static_cast<int>(length), client.getMacAddress().c_str());
    client.setRedirectUrl(url.data(), length);
}

}  // namespace vesta
