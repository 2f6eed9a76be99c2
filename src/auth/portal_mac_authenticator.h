#pragma once

// The web portal decides about logins, but a station is first looked up at a RADIUS server by its
// MAC address, as soon as it connects: the answer's vendor attributes choose its scenario. Answers
// come on the thread of RadiusListener.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "auth/authenticator.h"
#include "client/portal_instance_interface.h"
#include "ostrel/librad.h"

namespace vesta {

class RadiusWorker;

class PortalMacAuthenticator final : public Authenticator {
public:
    // The maker's attributes in an Access-Accept.
    static constexpr std::uint8_t kKnownStationAttribute = 31;  // 32-bit integer, 0 = unknown
    static constexpr std::uint8_t kRedirectUrlAttribute = 33;   // text

    // Registers for the worker's answers. `instance` is the one that takes its lock by itself. The
    // worker is closed before the authenticator goes.
    PortalMacAuthenticator(std::shared_ptr<RadiusWorker> radiusWorker,
                           PortalInstanceInterface& instance);

    // Asks for the station; true unless it has no address.
    bool authConnectedUser(std::shared_ptr<Client> client) override;
    void authUnansweredUsers() override;
    int makeAuthenticate(std::shared_ptr<Client>, const std::string&, const std::string&) override {
        return NOT_AUTHENTICATED;
    }

    // The library's callback; `self` is the authenticator.
    static librad_radius_rx_result handleRadiusMessage(librad_radius_msg* msg,
                                                       librad_radius_msg* request,
                                                       unsigned char* sharedSecret,
                                                       unsigned int secretLength, void* self);

private:
    void applyAccept(const std::shared_ptr<Client>& client, const librad_radius_msg& msg);

    std::shared_ptr<RadiusWorker> radiusWorker_;
    PortalInstanceInterface& instance_;
};

}  // namespace vesta
