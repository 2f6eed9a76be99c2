#pragma once

// The web portal decides about logins. But as soon as a station connects, the RADIUS server is
// asked about it by its MAC address, and the answer's vendor attributes choose its scenario.

#include <memory>
#include <string>

#include "auth/radius_authenticator.h"

namespace vesta {

class PortalMacAuthenticator final : public ServerAuthenticator {
public:
    PortalMacAuthenticator(std::shared_ptr<RadiusWorker> radiusWorker,
                           PortalInstanceInterface& instance)
        : ServerAuthenticator(std::move(radiusWorker), instance) {}

    // Asks about the station; true unless it has no address.
    bool authConnectedUser(std::shared_ptr<Client> client) override;
    void authUnansweredUsers() override;
    int makeAuthenticate(std::shared_ptr<Client>, const std::string&, const std::string&) override {
        return NOT_AUTHENTICATED;
    }

private:
    void letIn(const AccessAccepted& accepted) override;
    static void keepRedirectUrl(const std::string& url, Client& client);
};

}  // namespace vesta
