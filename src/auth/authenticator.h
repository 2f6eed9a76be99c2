#pragma once

// How an instance checks a station's login. Local: any login with a password is good. Portal: the
// web portal decides on its own and tells the outcome by "update". The modes that ask a RADIUS
// server have files of their own.
//
// Threads: called under the lock of the authenticator's instance.

#include <memory>
#include <string>

#include "radius/radius_modes.h"

namespace vesta {

class Client;

// "radius", "portal" and "portal-mac-auth", to the letter; any other text is local.
[[nodiscard]] AUTH_MODE parseAuthMode(const std::string& verificationMode);

// What became of a login.
enum AuthenticateResult {
    AUTHENTICATED = 0,
    AUTHENTICATION_PENDING = 1,  // the RADIUS server's answer comes later
    NOT_AUTHENTICATED = 2,       // not by this path
    CLIENT_NOT_FOUND = 3,        // no connected station with the requester's address
};

class Authenticator {
public:
    virtual ~Authenticator() = default;
    // Offered every station that connects without access, where the mode asks for it; true when a
    // request is under way.
    virtual bool authConnectedUser(std::shared_ptr<Client>) { return false; }
    // Called once a second: offers itself the stations again about which nothing was decided.
    virtual void authUnansweredUsers() {}
    // An AuthenticateResult; login and password stand in the client already.
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
