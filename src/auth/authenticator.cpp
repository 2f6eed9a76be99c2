#include "auth/authenticator.h"

namespace vesta {

AUTH_MODE parseAuthMode(const std::string& verificationMode) {
    if (verificationMode == "radius") {
        return AUTH_MODE_RADIUS;
    }
    if (verificationMode == "portal") {
        return AUTH_MODE_PORTAL;
    }
    if (verificationMode == "portal-mac-auth") {
        return AUTH_MODE_PORTAL_MAC;
    }
    return AUTH_MODE_LOCAL;
}

}  // namespace vesta
