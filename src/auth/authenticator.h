#pragma once

// How an instance checks a station's login. In local mode any login with a password is good. In
// portal mode the web portal decides and tells the outcome by "update". The modes that ask a RADIUS
// server have files of their own.
//
// Threads: every operation is called under the lock of the authenticator's instance.

#include <memory>
#include <string>

#include "client/portal_instance_interface.h"
#include "radius/radius_modes.h"

namespace vesta {

class Client;

// "radius", "portal" and "portal-mac-auth", to the letter; any other text is local.
[[nodiscard]] AUTH_MODE parseAuthMode(const std::string& verificationMode);

class Authenticator {
public:
    virtual ~Authenticator() = default;
    // Is offered every station that connects without access, in the modes that ask for it. True
    // when a request is under way.
    virtual bool authConnectedUser(std::shared_ptr<Client>) { return false; }
    // Called once a second: asks again about the stations whose request ended undecided.
    virtual void authUnansweredUsers() {}
    // Checks a login. The client has taken it over already, unless it was let in as somebody else.
    // Returns an AuthenticateResult.
    virtual int makeAuthenticate(std::shared_ptr<Client> client, const std::string& login,
                                 const std::string& password) = 0;
};

class LocalAuthenticator final : public Authenticator {
public:
    int makeAuthenticate(std::shared_ptr<Client>, const std::string&, const std::string&) override {
        return AUTHENTICATED;
    }
};

class PortalAuthenticator final : public Authenticator {
public:
    int makeAuthenticate(std::shared_ptr<Client>, const std::string&, const std::string&) override {
        return NOT_AUTHENTICATED;
    }
};

}  // namespace vesta
